// Gamma correction of images, as new images or in place.
#pragma once

#include <stdint.h>

#include <utility>

#include <umb_plox_ipl/gamma_corrector.h>

#include "Exception.h"
#include "Image.h"
#include "PixelFormat.h"

namespace plox {
namespace ipl {

/**
 * \brief Applies a gamma correction: out = round(max * (in / max) ^ (1 / gamma)).
 *
 * Gamma 1 leaves every value as it is; a gamma above 1 brightens the mid-tones, below 1 darkens
 * them. Works on unpacked mono, Bayer and RGB-family images of 8 to 16 bits; alpha is kept.
 * \since 1.2.2
 */
class GammaCorrector {
public:
    /**
     * \brief Creates a gamma corrector with gamma 1.0.
     * \throws Exception An internal error has occurred.
     * \since 1.2.2
     */
    GammaCorrector() {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_GammaCorrector_Construct(&handle_); });
    }

    /**
     * \brief This only creates a shallow copy: both share the gamma value.
     * \param other The other instance to acquire a reference for.
     * \since 1.8
     */
    GammaCorrector(const GammaCorrector& other) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_GammaCorrector_Clone(other.handle_, &handle_); });
    }

    /**
     * \brief Takes the other corrector's handle.
     * \param other Afterwards ``other`` is invalid.
     */
    GammaCorrector(GammaCorrector&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}

    GammaCorrector& operator=(const GammaCorrector&) = delete;
    GammaCorrector& operator=(GammaCorrector&&) = delete;

    ~GammaCorrector() {
        if (handle_ != nullptr) PLOX_IPL_GammaCorrector_Destruct(handle_);
    }

    /**
     * \brief Sets the gamma value.
     * \param gammaValue From GammaCorrectionMin() to GammaCorrectionMax()
     * \throws InvalidArgument gammaValue isn't supported.
     * \since 1.2.2
     */
    void SetGammaCorrectionValue(float gammaValue) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_GammaCorrector_SetGammaCorrectionValue(handle_, gammaValue); });
    }

    /**
     * \brief The gamma value.
     * \return The current gamma value
     * \throws Exception An internal error has occurred.
     * \since 1.2.2
     */
    float GammaCorrectionValue() const { return Query(&PLOX_IPL_GammaCorrector_GetGammaCorrectionValue); }

    /**
     * \brief The smallest gamma value.
     * \return The smallest accepted gamma value
     * \throws Exception An internal error has occurred.
     * \since 1.2.2
     */
    float GammaCorrectionMin() const { return Query(&PLOX_IPL_GammaCorrector_GetGammaCorrectionMin); }

    /**
     * \brief The largest gamma value.
     * \return The largest accepted gamma value
     * \throws Exception An internal error has occurred.
     * \since 1.2.2
     */
    float GammaCorrectionMax() const { return Query(&PLOX_IPL_GammaCorrector_GetGammaCorrectionMax); }

    /**
     * \brief Whether Process takes images of a pixel format.
     * \param pixelFormatName The pixel format
     * \return True for unpacked mono, Bayer and RGB-family formats
     * \throws InvalidArgumentException The pixel format is unknown.
     * \since 1.2.2
     */
    bool IsPixelFormatSupported(PixelFormatName pixelFormatName) const {
        uint8_t supported = 0;
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_GammaCorrector_IsPixelFormatSupported(handle_, static_cast<uint32_t>(pixelFormatName),
                                                                  &supported);
        });
        return supported != 0;
    }

    /**
     * \brief Gamma-corrects an image into a new image.
     *
     * Will not work with packed pixel formats. See 'unpackPixelformat' for the correct handling of this.
     * \param inputImage The image to correct
     * \return A new created image containing the gamma-corrected pixels.
     * \throws ImageFormatNotSupportedException image has unsupported pixel format.
     * \since 1.2.2
     */
    Image Process(const Image& inputImage) const {
        PLOX_IPL_IMAGE_HANDLE output = nullptr;
        ExecuteAndMapReturnCodes(
            [&] { return PLOX_IPL_GammaCorrector_Process(handle_, inputImage.GetBackendHandle(), &output); });
        return Image(output);
    }

    /**
     * \brief Gamma-corrects an image in place.
     *
     * Will not work with packed pixel formats. See 'unpackPixelformat' for the correct handling of this.
     * \param image The image to correct; left unchanged when its format is refused
     * \throws ImageFormatNotSupportedException image has unsupported pixel format.
     * \since 1.2.2
     */
    void ProcessInPlace(Image& image) const {
        ExecuteAndMapReturnCodes(
            [&] { return PLOX_IPL_GammaCorrector_ProcessInPlace(handle_, image.GetBackendHandle()); });
    }

private:
    float Query(PLOX_IPL_RETURN_CODE (*get)(PLOX_IPL_GAMMA_CORRECTOR_HANDLE, float*)) const {
        float value = 0.0f;
        ExecuteAndMapReturnCodes([&] { return get(handle_, &value); });
        return value;
    }

    PLOX_IPL_GAMMA_CORRECTOR_HANDLE handle_ = nullptr;
};

}  // namespace ipl
}  // namespace plox
