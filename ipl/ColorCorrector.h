// ColorCorrector: a colour correction matrix and a saturation applied to RGB-family images.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include <umb_plox_ipl/color_corrector.h>

#include "ColorCorrectionFactors.h"
#include "Exception.h"
#include "Image.h"
#include "PixelFormat.h"

namespace plox {
namespace ipl {

/**
 * \brief Applies a 3x3 colour correction matrix and a colour saturation to images.
 *
 * Each pixel's (R, G, B) is multiplied by the matrix, whatever the channel order of its format,
 * so a BGR8 image gets the same colours as its RGB8 twin. The saturation then keeps the BT.601
 * luma of the result and scales each colour's distance from that grey: 0 gives the grey, 1 the
 * matrix result, above 1 stronger colours. Both are folded into one matrix and applied in one
 * pass; results are rounded and saturated to the format's range, alpha is kept. A new corrector
 * has the identity matrix and saturation 1. Supported: unpacked RGB8/10/12, BGR8/10/12,
 * RGBa8/10/12 and BGRa8/10/12.
 * \since 1.0
 */
class ColorCorrector {
public:
    /**
     * \brief Creates a corrector with the identity matrix and saturation 1.
     * \throws Exception An internal error has occurred.
     * \since 1.0
     */
    ColorCorrector() {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_ColorCorrector_Construct(&handle_); });
    }

    /**
     * \brief This only creates a shallow copy. See 'shallowCopy' for a detailed explanation.
     * \param other The corrector whose matrix and saturation to share
     * \since 1.8
     */
    ColorCorrector(const ColorCorrector& other) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_ColorCorrector_Clone(other.handle_, &handle_); });
    }

    /** \brief Takes the other corrector's handle; the other one must not be used afterwards. */
    ColorCorrector(ColorCorrector&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}

    ColorCorrector& operator=(const ColorCorrector&) = delete;
    ColorCorrector& operator=(ColorCorrector&&) = delete;

    ~ColorCorrector() {
        if (handle_ != nullptr) PLOX_IPL_ColorCorrector_Destruct(handle_);
    }

    /**
     * \brief Sets the colour correction matrix.
     * \param colorCorrectorFactors The nine factors, each finite and of magnitude at most 1e6
     * \throws InvalidArgumentException A factor is out of range.
     * \since 1.0
     */
    void SetColorCorrectionFactors(ipl::ColorCorrectionFactors colorCorrectorFactors) {
        const float factors[9] = {colorCorrectorFactors.factorRR, colorCorrectorFactors.factorGR,
                                  colorCorrectorFactors.factorBR, colorCorrectorFactors.factorRG,
                                  colorCorrectorFactors.factorGG, colorCorrectorFactors.factorBG,
                                  colorCorrectorFactors.factorRB, colorCorrectorFactors.factorGB,
                                  colorCorrectorFactors.factorBB};
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_ColorCorrector_SetColorCorrectionFactors(handle_, factors); });
    }

    /**
     * \brief The colour correction matrix.
     * \return The nine factors
     * \throws Exception An internal error has occurred.
     * \since 1.0
     */
    ipl::ColorCorrectionFactors ColorCorrectionFactors() { return Factors(); }

    /**
     * \brief The colour correction matrix.
     * \return The nine factors
     * \throws Exception An internal error has occurred.
     * \since 1.3.2
     */
    ipl::ColorCorrectionFactors ColorCorrectionFactors() const { return Factors(); }

    /**
     * \brief The colour saturation.
     * \return 0 for grey, 1 for the matrix result, above 1 for stronger colours
     * \throws Exception An internal error has occurred.
     * \since 1.6
     */
    float Saturation() const { return Query(&PLOX_IPL_ColorCorrector_GetSaturation); }

    /**
     * \brief The smallest colour saturation.
     * \return The smallest saturation
     * \throws Exception An internal error has occurred.
     * \since 1.6
     */
    float SaturationMin() const { return Query(&PLOX_IPL_ColorCorrector_GetSaturationMin); }

    /**
     * \brief The largest colour saturation.
     * \return The largest saturation
     * \throws Exception An internal error has occurred.
     * \since 1.6
     */
    float SaturationMax() const { return Query(&PLOX_IPL_ColorCorrector_GetSaturationMax); }

    /**
     * \brief Sets the colour saturation.
     * \param saturation From SaturationMin() to SaturationMax()
     * \throws InvalidArgumentException saturation is out of range.
     * \since 1.6
     */
    void SetSaturation(float saturation) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_ColorCorrector_SetSaturation(handle_, saturation); });
    }

    /**
     * \brief Whether Process and ProcessInPlace take images of a pixel format.
     * \param pixelFormatName The pixel format
     * \return True for unpacked RGB, BGR, RGBa and BGRa formats of 8, 10 and 12 bits
     * \throws InvalidArgumentException The pixel format is unknown.
     * \since 1.0
     */
    bool IsPixelFormatSupported(PixelFormatName pixelFormatName) const {
        uint8_t supported = 0;
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_ColorCorrector_IsPixelFormatSupported(handle_, static_cast<uint32_t>(pixelFormatName),
                                                                  &supported);
        });
        return supported != 0;
    }

    /**
     * \brief Applies the matrix and the saturation to an image.
     *
     * Will not work with packed pixel formats. See 'unpackPixelformat' for the correct handling of this.
     * \param inputImage The image to correct
     * \return A new image with the corrected pixels
     * \throws ImageFormatNotSupportedException image has unsupported pixel format (for example packed pixel format)
     * \since 1.0
     */
    Image Process(const Image& inputImage) const {
        PLOX_IPL_IMAGE_HANDLE output = nullptr;
        ExecuteAndMapReturnCodes(
            [&] { return PLOX_IPL_ColorCorrector_Process(handle_, inputImage.GetBackendHandle(), &output); });
        return Image(output);
    }

    /**
     * \brief Applies the matrix and the saturation to an image in place.
     *
     * Will not work with packed pixel formats. See 'unpackPixelformat' for the correct handling of this.
     * \param image The image to correct; left as it was when the call fails
     * \throws ImageFormatNotSupportedException image has unsupported pixel format (for example packed pixel format)
     * \since 1.0
     */
    void ProcessInPlace(Image& image) const {
        ExecuteAndMapReturnCodes(
            [&] { return PLOX_IPL_ColorCorrector_ProcessInPlace(handle_, image.GetBackendHandle()); });
    }

private:
    ipl::ColorCorrectionFactors Factors() const {
        size_t count = 0;
        ExecuteAndMapReturnCodes(
            [&] { return PLOX_IPL_ColorCorrector_GetColorCorrectionFactors(handle_, nullptr, &count); });
        std::vector<float> f(count);
        ExecuteAndMapReturnCodes(
            [&] { return PLOX_IPL_ColorCorrector_GetColorCorrectionFactors(handle_, f.data(), &count); });
        f.resize(9);
        return ipl::ColorCorrectionFactors(f[0], f[1], f[2], f[3], f[4], f[5], f[6], f[7], f[8]);
    }

    float Query(PLOX_IPL_RETURN_CODE (*get)(PLOX_IPL_COLOR_CORRECTOR_HANDLE, float*)) const {
        float value = 0.0f;
        ExecuteAndMapReturnCodes([&] { return get(handle_, &value); });
        return value;
    }

    PLOX_IPL_COLOR_CORRECTOR_HANDLE handle_ = nullptr;
};

}  // namespace ipl
}  // namespace plox
