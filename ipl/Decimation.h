// Decimation: one pixel kept of each block.
#pragma once

#include <cstdint>
#include <utility>

#include <umb_plox_ipl/decimation.h>

#include "Exception.h"
#include "Image.h"
#include "PixelFormat.h"
#include "Types.h"

namespace plox {
namespace ipl {

/**
 * \brief Reduces the resolution of images: each block of DecimationX by DecimationY pixels becomes
 * its top-left pixel.
 *
 * Only whole blocks are kept: columns and rows left over at the right and bottom are dropped.
 * Bayer images keep whole 2x2 cells and stay Bayer images of the same pattern.
 * \since 1.6.0
 */
class Decimation {
public:
    /**
     * \brief Creates a decimation with factors 1.
     * \throws Exception An internal error has occurred.
     * \since 1.6.0
     */
    Decimation() {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Decimation_Construct(&handle_); });
    }

    /**
     * \brief This only creates a shallow copy: both share the factors.
     * \param other The decimation to share
     * \since 1.8
     */
    Decimation(const Decimation& other) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Decimation_Clone(other.handle_, &handle_); });
    }

    /** \brief Takes the other decimation's handle; the other one must not be used afterwards. */
    Decimation(Decimation&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}

    Decimation& operator=(const Decimation&) = delete;
    Decimation& operator=(Decimation&&) = delete;

    ~Decimation() {
        if (handle_ != nullptr) PLOX_IPL_Decimation_Destruct(handle_);
    }

    /**
     * \brief Sets the horizontal decimation factor.
     * \param value Pixels per block along a row, from DecimationMin() to DecimationMax()
     * \throws InvalidArgumentException value isn't supported.
     * \since 1.6.0
     */
    void SetDecimationX(uint8_t value) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Decimation_SetDecimationX(handle_, value); });
    }

    /**
     * \brief The horizontal decimation factor.
     * \return Pixels per block along a row
     * \throws Exception An internal error has occurred.
     * \since 1.6.0
     */
    uint8_t DecimationX() const { return Query(&PLOX_IPL_Decimation_GetDecimationX); }

    /**
     * \brief Sets the vertical decimation factor.
     * \param value Pixels per block along a column, from DecimationMin() to DecimationMax()
     * \throws InvalidArgumentException value isn't supported.
     * \since 1.6.0
     */
    void SetDecimationY(uint8_t value) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Decimation_SetDecimationY(handle_, value); });
    }

    /**
     * \brief The vertical decimation factor.
     * \return Pixels per block along a column
     * \throws Exception An internal error has occurred.
     * \since 1.6.0
     */
    uint8_t DecimationY() const { return Query(&PLOX_IPL_Decimation_GetDecimationY); }

    /**
     * \brief The smallest decimation factor.
     * \return The smallest factor
     * \throws Exception An internal error has occurred.
     * \since 1.6.0
     */
    uint8_t DecimationMin() const { return Query(&PLOX_IPL_Decimation_GetDecimationMin); }

    /**
     * \brief The largest decimation factor.
     * \return The largest factor
     * \throws Exception An internal error has occurred.
     * \since 1.6.0
     */
    uint8_t DecimationMax() const { return Query(&PLOX_IPL_Decimation_GetDecimationMax); }

    /**
     * \brief Whether Process takes images of a pixel format.
     * \param pixelFormatName The pixel format
     * \return True for unpacked integer mono, Bayer and RGB-family formats
     * \throws InvalidArgumentException The pixel format is unknown.
     * \since 1.6.0
     */
    bool IsPixelFormatSupported(PixelFormatName pixelFormatName) const {
        uint8_t supported = 0;
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_Decimation_IsPixelFormatSupported(handle_, static_cast<uint32_t>(pixelFormatName),
                                                           &supported);
        });
        return supported != 0;
    }

    /**
     * \brief The size of the image that Process makes from an input of this size and format.
     * \param inputSize The size of the input image
     * \param pixelFormat The pixel format of the input image
     * \return The size of a decimated image
     * \throws InvalidArgumentException pixelFormat isn't supported.
     * \since 1.6.0
     */
    Size2D ExpectedOutputSize(Size2D inputSize, PixelFormatName pixelFormat) const {
        size_t width = 0;
        size_t height = 0;
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_Decimation_ExpectedOutputSize(handle_, inputSize.width, inputSize.height,
                                                       static_cast<uint32_t>(pixelFormat), &width, &height);
        });
        return Size2D::New(width, height);
    }

    /**
     * \brief Decimates an image.
     *
     * Will not work with packed pixel formats. See 'unpackPixelformat' for the correct handling of this.
     * \param inputImage The image to decimate
     * \return A new image holding the top-left pixel of each block
     * \throws ImageFormatNotSupportedException image has unsupported pixel format.
     * \throws InvalidArgumentException the image is too small.
     * \since 1.6.0
     */
    Image Process(const Image& inputImage) const {
        PLOX_IPL_IMAGE_HANDLE output = nullptr;
        ExecuteAndMapReturnCodes(
            [&] { return PLOX_IPL_Decimation_Process(handle_, inputImage.GetBackendHandle(), &output); });
        return Image(output);
    }

private:
    uint8_t Query(PLOX_IPL_RETURN_CODE (*get)(PLOX_IPL_DECIMATION_HANDLE, uint8_t*)) const {
        uint8_t value = 0;
        ExecuteAndMapReturnCodes([&] { return get(handle_, &value); });
        return value;
    }

    PLOX_IPL_DECIMATION_HANDLE handle_ = nullptr;
};

}  // namespace ipl
}  // namespace plox
