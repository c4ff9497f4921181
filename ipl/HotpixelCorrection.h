// Hot-pixel detection and correction: from a detected list, a list of the caller's, or a list the
// object adapts over a stream of images.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <cstddef>
#include <utility>
#include <vector>

#include <umb_plox_ipl/hotpixel_correction.h>

#include "Exception.h"
#include "Image.h"
#include "Types.h"

namespace plox {
namespace ipl {

// Point lists cross the C interface as they are stored.
static_assert(sizeof(Point2D) == sizeof(PLOX_IPL_POINT_2D) && offsetof(Point2D, x) == offsetof(PLOX_IPL_POINT_2D, x) &&
                  offsetof(Point2D, y) == offsetof(PLOX_IPL_POINT_2D, y),
              "Point2D and PLOX_IPL_POINT_2D must share their layout");

/**
 * \brief Finds defective (hot) pixels of images and replaces them.
 *
 * Three ways of working: detect a list of hotpixels once and correct them in every later image;
 * correct with a list from another source (e.g. retrieved directly from the camera from an initial
 * hotpixel calibration); or correct adaptively, where the object keeps its own hotpixel list and
 * adapts it with every image it is given. A pixel is hot when it is above all 8 nearest neighbours
 * of its colour (1 pixel away in mono images, 2 in Bayer images) and its excess over their median is
 * more than the threshold factor of the sensitivity level (20, 16, 12, 9, 6 for levels 1 to 5), times
 * the gain factor / 100, times the local noise. Only unpacked mono and Bayer formats of 8 to 16 bits.
 */
class HotpixelCorrection {
public:
    /** \brief The sensitivity of the detection: level 1 finds the fewest hotpixels, level 5 the most. */
    enum class SensitivityLevel {
        /** Not a level: refused */
        Invalid = 0,
        /** Fewest hotpixels */
        SensitivityLevel1 = 1,
        SensitivityLevel2 = 2,
        /** The default */
        SensitivityLevel3 = 3,
        SensitivityLevel4 = 4,
        /** Most hotpixels */
        SensitivityLevel5 = 5
    };

    /**
     * \brief Creates a hotpixel correction with SensitivityLevel3 and a gain factor of 100 percent.
     * \throws Exception An internal error has occurred.
     */
    HotpixelCorrection() {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_HotpixelCorrection_Construct(&handle_); });
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_HotpixelCorrection_SetSensitivity(handle_, 3); });
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_HotpixelCorrection_SetGainFactorPercent(handle_, 100); });
    }

    /**
     * \brief This only creates a shallow copy: both share settings, detection result and adaptive list.
     * \param other The other instance to acquire a reference for.
     * \since 1.8
     */
    HotpixelCorrection(const HotpixelCorrection& other) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_HotpixelCorrection_Clone(other.handle_, &handle_); });
    }

    /**
     * \brief Takes the other hotpixel correction's handle.
     * \param other Afterwards ``other`` is invalid.
     */
    HotpixelCorrection(HotpixelCorrection&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}

    HotpixelCorrection& operator=(const HotpixelCorrection&) = delete;
    HotpixelCorrection& operator=(HotpixelCorrection&&) = delete;

    ~HotpixelCorrection() {
        if (handle_ != nullptr) PLOX_IPL_HotpixelCorrection_Destruct(handle_);
    }

    /**
     * \brief Sets the sensitivity of the detection.
     * \param sensitivityLevel SensitivityLevel1 (fewest hotpixels) to SensitivityLevel5 (most)
     * \throws InvalidArgumentException sensitivityLevel isn't a level.
     * \throws Exception An internal error has occurred.
     */
    void SetSensitivity(SensitivityLevel sensitivityLevel = SensitivityLevel::SensitivityLevel3) {
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_HotpixelCorrection_SetSensitivity(handle_, static_cast<int32_t>(sensitivityLevel));
        });
    }

    /**
     * \brief The sensitivity of the detection.
     * \return The sensitivity level
     * \throws Exception An internal error has occurred.
     */
    SensitivityLevel Sensitivity() const {
        int32_t level = 0;
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_HotpixelCorrection_GetSensitivity(handle_, &level); });
        return static_cast<SensitivityLevel>(level);
    }

    /**
     * \brief Sets the gain of the sensor in percent: amplified noise needs a higher threshold.
     * \param gainFactorPercent 1 to 10000; 200 is twice the gain, so twice the threshold
     * \throws InvalidArgumentException gainFactorPercent is outside 1 to 10000.
     * \throws Exception An internal error has occurred.
     */
    void SetGainFactorPercent(uint32_t gainFactorPercent = 100) {
        ExecuteAndMapReturnCodes(
            [&] { return PLOX_IPL_HotpixelCorrection_SetGainFactorPercent(handle_, gainFactorPercent); });
    }

    /**
     * \brief The gain of the sensor in percent.
     * \return The gain factor in percent
     * \throws Exception An internal error has occurred.
     */
    uint32_t GainFactorPercent() const {
        uint32_t percent = 0;
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_HotpixelCorrection_GetGainFactorPercent(handle_, &percent); });
        return percent;
    }

    /**
     * \brief Detects the hotpixels of an image.
     *
     * Will not work with packed pixel formats. See 'unpackPixelformat' for the correct handling of this.
     * \param inputImage The image to search
     * \return The detected hotpixels, in row order
     * \throws ImageFormatNotSupportedException inputImage has a packed pixel format
     * \throws OutOfRangeException inputImage is too small to process correctly
     * \throws Exception An internal error has occurred.
     */
    std::vector<Point2D> Detect(const Image& inputImage) const {
        ExecuteAndMapReturnCodes(
            [&] { return PLOX_IPL_HotpixelCorrection_Detect(handle_, inputImage.GetBackendHandle()); });
        size_t count = 0;
        ExecuteAndMapReturnCodes(
            [&] { return PLOX_IPL_HotpixelCorrection_GetDetectedHotpixels(handle_, nullptr, &count); });
        std::vector<Point2D> hotpixels(count);
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_HotpixelCorrection_GetDetectedHotpixels(
                handle_, reinterpret_cast<PLOX_IPL_POINT_2D*>(hotpixels.data()), &count);
        });
        return hotpixels;
    }

    /**
     * \brief Corrects the listed hotpixels of an image into a new image.
     *
     * Each listed pixel gets the mean of its same-colour neighbours that are not listed themselves;
     * every other pixel keeps its value. Will not work with packed pixel formats. See
     * 'unpackPixelformat' for the correct handling of this.
     * \param inputImage The image to correct
     * \param hotpixels The hotpixels, e.g. from Detect or from the camera's calibration
     * \return Corrected image
     * \throws ImageFormatNotSupportedException inputImage has a packed pixel format
     * \throws OutOfRangeException inputImage is too small to process correctly, or a hotpixel is outside it
     * \throws Exception An internal error has occurred.
     */
    Image Correct(const Image& inputImage, const std::vector<Point2D>& hotpixels) const {
        PLOX_IPL_IMAGE_HANDLE output = nullptr;
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_HotpixelCorrection_Correct(handle_, inputImage.GetBackendHandle(), Points(hotpixels),
                                                       hotpixels.size(), &output);
        });
        return Image(output);
    }

    /**
     * \brief Corrects the listed hotpixels of an image in place. The image won't be copied.
     *
     * Will not work with packed pixel formats. See 'unpackPixelformat' for the correct handling of this.
     * \param inputImage The image to correct; left as it was when the call fails
     * \param hotpixels The hotpixels, e.g. from Detect or from the camera's calibration
     * \return Corrected image
     * \throws ImageFormatNotSupportedException inputImage has a packed pixel format
     * \throws OutOfRangeException inputImage is too small to process correctly, or a hotpixel is outside it
     * \throws Exception An internal error has occurred.
     * \since 1.7
     */
    void CorrectInPlace(Image& inputImage, const std::vector<Point2D>& hotpixels) const {
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_HotpixelCorrection_CorrectInPlace(handle_, inputImage.GetBackendHandle(), Points(hotpixels),
                                                              hotpixels.size());
        });
    }

    /**
     * \brief Corrects an image of a stream with the object's own, adapted hotpixel list.
     *
     * For each new passed to this method, first the list of hotpixels is adapted, then all pixels in
     * the adapted hotpixel list are corrected. A pixel joins the list after 3 images in a row in which
     * it is detected and leaves it after 5 images in a row in which it is not; an image of another
     * size or pixel format starts the list afresh. Will not work with packed pixel formats. See
     * 'unpackPixelformat' for the correct handling of this.
     * \param inputImage The next image of the stream
     * \return Corrected image
     * \throws ImageFormatNotSupportedException inputImage has a packed pixel format
     * \throws OutOfRangeException inputImage is too small to process correctly
     * \throws Exception An internal error has occurred.
     */
    Image CorrectAdaptive(const Image& inputImage) {
        PLOX_IPL_IMAGE_HANDLE output = nullptr;
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_HotpixelCorrection_CorrectAdaptive(handle_, inputImage.GetBackendHandle(), &output);
        });
        return Image(output);
    }

    /**
     * \brief Corrects an image of a stream in place with the object's own, adapted hotpixel list.
     * The image won't be copied.
     *
     * For each new passed to this method, first the list of hotpixels is adapted, then all pixels in
     * the adapted hotpixel list are corrected. Will not work with packed pixel formats. See
     * 'unpackPixelformat' for the correct handling of this.
     * \param inputImage The next image of the stream; left as it was when the call fails
     * \return Corrected image
     * \throws ImageFormatNotSupportedException inputImage has a packed pixel format
     * \throws OutOfRangeException inputImage is too small to process correctly
     * \throws Exception An internal error has occurred.
     * \since 1.7
     */
    void CorrectAdaptiveInPlace(Image& inputImage) {
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_HotpixelCorrection_CorrectAdaptiveInPlace(handle_, inputImage.GetBackendHandle());
        });
    }

private:
    static const PLOX_IPL_POINT_2D* Points(const std::vector<Point2D>& hotpixels) {
        return reinterpret_cast<const PLOX_IPL_POINT_2D*>(hotpixels.data());
    }

    PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE handle_ = nullptr;
};

}  // namespace ipl
}  // namespace plox
