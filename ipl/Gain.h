// Master and colour gains of images, as new images or in place.
#pragma once

#include <stdint.h>

#include <utility>

#include <umb_plox_ipl/gain.h>

#include "Exception.h"
#include "Image.h"
#include "PixelFormat.h"

namespace plox {
namespace ipl {

/**
 * \brief Multiplies pixel values by a master gain and by separate red, green and blue gains.
 *
 * Each value of a Bayer image is multiplied by the master gain and the gain of its site's filter
 * colour; mono images take the master gain alone. Results are rounded half up and saturated at
 * the format's maximum. Will currently only work with unpacked Bayer and Mono Pixel Formats. Call
 * ``Gain::IsPixelFormatSupported`` to check for support if in doubt.
 * \since 1.2.2
 */
class Gain {
public:
    /**
     * \brief Creates a gain with every gain 1.0.
     * \throws Exception An internal error has occurred.
     * \since 1.2.2
     */
    Gain() {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Gain_Construct(&handle_); });
    }

    /**
     * \brief This only creates a shallow copy: both share the gains.
     * \param other The other instance to acquire a reference for.
     * \since 1.8
     */
    Gain(const Gain& other) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Gain_Clone(other.handle_, &handle_); });
    }

    /**
     * \brief Takes the other gain's handle.
     * \param other Afterwards ``other`` is invalid.
     */
    Gain(Gain&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}

    Gain& operator=(const Gain&) = delete;
    Gain& operator=(Gain&&) = delete;

    ~Gain() {
        if (handle_ != nullptr) PLOX_IPL_Gain_Destruct(handle_);
    }

    /**
     * \brief Sets the master gain. The master gain, applied to every value.
     * \param masterGainValue From MasterGainMin() to MasterGainMax()
     * \throws InvalidArgument masterGainValue isn't supported.
     * \since 1.3.2
     */
    void SetMasterGainValue(float masterGainValue) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Gain_SetMasterGainValue(handle_, masterGainValue); });
    }

    /**
     * \brief The master gain.
     * \return The current master gain
     * \throws Exception An internal error has occurred.
     * \since 1.3.2
     */
    float MasterGainValue() const { return Query(&PLOX_IPL_Gain_GetMasterGainValue); }

    /**
     * \brief The smallest master gain.
     * \return The smallest accepted master gain
     * \throws Exception An internal error has occurred.
     * \since 1.3.2
     */
    float MasterGainMin() const { return Query(&PLOX_IPL_Gain_GetMasterGainMin); }

    /**
     * \brief The largest master gain.
     * \return The largest accepted master gain
     * \throws Exception An internal error has occurred.
     * \since 1.3.2
     */
    float MasterGainMax() const { return Query(&PLOX_IPL_Gain_GetMasterGainMax); }

    /**
     * \brief Sets the red gain. The gain of red Bayer sites.
     * \param redGainValue From RedGainMin() to RedGainMax()
     * \throws InvalidArgument redGainValue isn't supported.
     * \since 1.3.2
     */
    void SetRedGainValue(float redGainValue) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Gain_SetRedGainValue(handle_, redGainValue); });
    }

    /**
     * \brief The red gain.
     * \return The current red gain
     * \throws Exception An internal error has occurred.
     * \since 1.3.2
     */
    float RedGainValue() const { return Query(&PLOX_IPL_Gain_GetRedGainValue); }

    /**
     * \brief The smallest red gain.
     * \return The smallest accepted red gain
     * \throws Exception An internal error has occurred.
     * \since 1.3.2
     */
    float RedGainMin() const { return Query(&PLOX_IPL_Gain_GetRedGainMin); }

    /**
     * \brief The largest red gain.
     * \return The largest accepted red gain
     * \throws Exception An internal error has occurred.
     * \since 1.3.2
     */
    float RedGainMax() const { return Query(&PLOX_IPL_Gain_GetRedGainMax); }

    /**
     * \brief Sets the green gain. The gain of green Bayer sites.
     * \param greenGainValue From GreenGainMin() to GreenGainMax()
     * \throws InvalidArgument greenGainValue isn't supported.
     * \since 1.3.2
     */
    void SetGreenGainValue(float greenGainValue) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Gain_SetGreenGainValue(handle_, greenGainValue); });
    }

    /**
     * \brief The green gain.
     * \return The current green gain
     * \throws Exception An internal error has occurred.
     * \since 1.3.2
     */
    float GreenGainValue() const { return Query(&PLOX_IPL_Gain_GetGreenGainValue); }

    /**
     * \brief The smallest green gain.
     * \return The smallest accepted green gain
     * \throws Exception An internal error has occurred.
     * \since 1.3.2
     */
    float GreenGainMin() const { return Query(&PLOX_IPL_Gain_GetGreenGainMin); }

    /**
     * \brief The largest green gain.
     * \return The largest accepted green gain
     * \throws Exception An internal error has occurred.
     * \since 1.3.2
     */
    float GreenGainMax() const { return Query(&PLOX_IPL_Gain_GetGreenGainMax); }

    /**
     * \brief Sets the blue gain. The gain of blue Bayer sites.
     * \param blueGainValue From BlueGainMin() to BlueGainMax()
     * \throws InvalidArgument blueGainValue isn't supported.
     * \since 1.3.2
     */
    void SetBlueGainValue(float blueGainValue) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Gain_SetBlueGainValue(handle_, blueGainValue); });
    }

    /**
     * \brief The blue gain.
     * \return The current blue gain
     * \throws Exception An internal error has occurred.
     * \since 1.3.2
     */
    float BlueGainValue() const { return Query(&PLOX_IPL_Gain_GetBlueGainValue); }

    /**
     * \brief The smallest blue gain.
     * \return The smallest accepted blue gain
     * \throws Exception An internal error has occurred.
     * \since 1.3.2
     */
    float BlueGainMin() const { return Query(&PLOX_IPL_Gain_GetBlueGainMin); }

    /**
     * \brief The largest blue gain.
     * \return The largest accepted blue gain
     * \throws Exception An internal error has occurred.
     * \since 1.3.2
     */
    float BlueGainMax() const { return Query(&PLOX_IPL_Gain_GetBlueGainMax); }

    /**
     * \brief Whether Process takes images of a pixel format.
     * \param pixelFormatName The pixel format
     * \return True for unpacked mono and Bayer formats
     * \throws InvalidArgumentException The pixel format is unknown.
     * \since 1.2.2
     */
    bool IsPixelFormatSupported(PixelFormatName pixelFormatName) const {
        uint8_t supported = 0;
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_Gain_IsPixelFormatSupported(handle_, static_cast<uint32_t>(pixelFormatName), &supported);
        });
        return supported != 0;
    }

    /**
     * \brief Applies the gains to an image, into a new image.
     *
     * Will not work with packed pixel formats. See 'unpackPixelformat' for the correct handling of this.
     * \param inputImage The image to apply the gains to
     * \return A new created image containing the gamma-corrected pixels.
     * \throws ImageFormatNotSupportedException image has unsupported pixel format.
     * \since 1.2.2
     */
    Image Process(const Image& inputImage) const {
        PLOX_IPL_IMAGE_HANDLE output = nullptr;
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Gain_Process(handle_, inputImage.GetBackendHandle(), &output); });
        return Image(output);
    }

    /**
     * \brief Applies the gains to an image in place.
     *
     * Will not work with packed pixel formats. See 'unpackPixelformat' for the correct handling of this.
     * \param image The image to change; left unchanged when its format is refused
     * \throws ImageFormatNotSupportedException image has unsupported pixel format.
     * \since 1.2.2
     */
    void ProcessInPlace(Image& image) const {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Gain_ProcessInPlace(handle_, image.GetBackendHandle()); });
    }

private:
    float Query(PLOX_IPL_RETURN_CODE (*get)(PLOX_IPL_GAIN_HANDLE, float*)) const {
        float value = 0.0f;
        ExecuteAndMapReturnCodes([&] { return get(handle_, &value); });
        return value;
    }

    PLOX_IPL_GAIN_HANDLE handle_ = nullptr;
};

}  // namespace ipl
}  // namespace plox
