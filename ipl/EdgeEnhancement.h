// EdgeEnhancement: an unsharp mask whose strength is an integer factor.
#pragma once

#include <cstdint>
#include <utility>

#include <umb_plox_ipl/edge_enhancement.h>

#include "Exception.h"
#include "Image.h"
#include "PixelFormat.h"
#include "Types.h"

namespace plox {
namespace ipl {

/**
 * \brief Sharpens images by enhancing their edges.
 *
 * Each value v gets round(Factor() * (8 v - sum of its 8 neighbours) / 64), rounded half up and
 * saturated to the format's range; beyond the border the image is mirrored (row -1 reads row 1).
 * Colour images are sharpened on their BT.601 luma and the same correction is added to R, G and
 * B, so edges get no coloured fringes; alpha is kept. Factor 0 leaves the image unchanged.
 * This function causes a higher CPU load.
 * To check if it is supported, call #EdgeEnhancement::IsPixelFormatSupported first
 * \since 1.7
 */
class EdgeEnhancement {
public:
    /**
     * \brief Creates an edge enhancement with the default factor.
     * \throws Exception An internal error has occurred.
     * \since 1.7
     */
    EdgeEnhancement() {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_EdgeEnhancement_Construct(&handle_); });
    }

    /**
     * \brief This only creates a shallow copy: both share the factor.
     * \param other The edge enhancement to share
     * \since 1.8
     */
    EdgeEnhancement(const EdgeEnhancement& other) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_EdgeEnhancement_Clone(other.handle_, &handle_); });
    }

    /** \brief Takes the other edge enhancement's handle; the other one must not be used afterwards. */
    EdgeEnhancement(EdgeEnhancement&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}

    EdgeEnhancement& operator=(const EdgeEnhancement&) = delete;
    EdgeEnhancement& operator=(EdgeEnhancement&&) = delete;

    ~EdgeEnhancement() {
        if (handle_ != nullptr) PLOX_IPL_EdgeEnhancement_Destruct(handle_);
    }

    /**
     * \brief Sharpens an image.
     *
     * This function causes a higher CPU load.
     * To check if it is supported, call #EdgeEnhancement::IsPixelFormatSupported first
     * \param image The image to sharpen
     * \return the sharpened image
     * \throws ImageFormatNotSupportedException pixel format isn't supported.
     * \throws Exception An internal error has occurred.
     * \since 1.7
     */
    Image Process(const Image& image) const {
        PLOX_IPL_IMAGE_HANDLE output = nullptr;
        ExecuteAndMapReturnCodes(
            [&] { return PLOX_IPL_EdgeEnhancement_Process(handle_, image.GetBackendHandle(), &output); });
        return Image(output);
    }

    /**
     * \brief Sharpens an image in place.
     *
     * This function causes a higher CPU load.
     * To check if it is supported, call #EdgeEnhancement::IsPixelFormatSupported first
     * \param image The image to sharpen; left as it was when the call fails
     * \throws ImageFormatNotSupportedException pixel format isn't supported.
     * \throws Exception An internal error has occurred.
     * \since 1.7
     */
    void ProcessInPlace(Image& image) const {
        ExecuteAndMapReturnCodes(
            [&] { return PLOX_IPL_EdgeEnhancement_ProcessInPlace(handle_, image.GetBackendHandle()); });
    }

    /**
     * \brief Whether Process and ProcessInPlace take images of a pixel format.
     * \param pixelFormatName The pixel format
     * \return true if pixelformat is supported, else false
     * \throws Exception An internal error has occurred.
     * \since 1.7
     */
    bool IsPixelFormatSupported(PixelFormatName pixelFormatName) const {
        uint8_t supported = 0;
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_EdgeEnhancement_IsPixelFormatSupported(handle_, static_cast<uint32_t>(pixelFormatName),
                                                                   &supported);
        });
        return supported != 0;
    }

    /**
     * \brief Sets the edge enhancement factor.
     * \param factor From Range().Minimum() to Range().Maximum()
     * \throws InvalidArgumentException factor is out of range.
     * \throws Exception An internal error has occurred.
     * \since 1.7
     */
    void SetFactor(std::uint32_t factor) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_EdgeEnhancement_SetFactor(handle_, factor); });
    }

    /**
     * \brief The edge enhancement factor.
     * \return the current edge enhancement factor
     * \throws Exception An internal error has occurred.
     * \since 1.7
     */
    std::uint32_t Factor() const { return Query(&PLOX_IPL_EdgeEnhancement_GetFactor); }

    /**
     * \brief The factor of a new edge enhancement.
     * \return the default edge enhancement factor
     * \throws Exception An internal error has occurred.
     * \since 1.7
     */
    std::uint32_t DefaultFactor() const { return Query(&PLOX_IPL_EdgeEnhancement_GetDefaultFactor); }

    /**
     * \brief The legal factors.
     * \return the range for the edge enhancement factor
     * \throws Exception An internal error has occurred.
     * \since 1.7
     */
    ipl::Range<std::uint32_t> Range() const {
        PLOX_IPL_EDGE_ENHANCEMENT_RANGE range{};
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_EdgeEnhancement_GetRange(handle_, &range); });
        return ipl::Range<std::uint32_t>(range.min, range.max, range.inc);
    }

private:
    std::uint32_t Query(PLOX_IPL_RETURN_CODE (*get)(PLOX_IPL_EDGE_ENHANCEMENT_HANDLE, std::uint32_t*)) const {
        std::uint32_t value = 0;
        ExecuteAndMapReturnCodes([&] { return get(handle_, &value); });
        return value;
    }

    PLOX_IPL_EDGE_ENHANCEMENT_HANDLE handle_ = nullptr;
};

}  // namespace ipl
}  // namespace plox
