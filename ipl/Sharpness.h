// Sharpness: a relative focus measure over weighted regions of interest.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include <umb_plox_ipl/sharpness.h>

#include "Exception.h"
#include "Image.h"
#include "PixelFormat.h"
#include "Types.h"

namespace plox {
namespace ipl {

struct SharpnessROI;

/**
 * \brief Measures the relative sharpness of an image, for example to drive a focus search.
 *
 * The higher the value, the better the sharpness. Values are in 8-bit grey units whatever the
 * depth of the image, so the same picture measures alike at 8, 10, 12 or 16 bits. Without regions
 * the whole image is measured at every pixel; several regions give the weighted mean of their
 * values. Mono images are measured on their values, RGB-family images on their BT.601 luma and
 * Bayer images on their green plane.
 * \since 1.6
 */
class Sharpness {
public:
    /** \brief A region of the measurement (the same record as ::plox::ipl::SharpnessROI). */
    typedef ::plox::ipl::SharpnessROI SharpnessROI;

    /** \brief How sharpness is measured. */
    enum class SharpnessAlgorithm {
        /** Mean of the squared 3x3 Sobel gradient magnitude */
        Tenengrad = PLOX_IPL_SHARPNESS_ALGORITHM_TENENGRAD,
        /** Mean distance of each value from the mean of its eight neighbours */
        MeanScore = PLOX_IPL_SHARPNESS_ALGORITHM_MEAN_SCORE,
        /** Variance of the values, the spread of their histogram */
        HistogramVariance = PLOX_IPL_SHARPNESS_ALGORITHM_HISTOGRAM_VARIANCE,
        /** Mean of the 3x3 Sobel gradient magnitude */
        Sobel = PLOX_IPL_SHARPNESS_ALGORITHM_SOBEL
    };

    /** \brief Weight of a region in the combined result. */
    enum class SharpnessROIWeight : uint8_t {
        /** Weight 33 */
        Weak = PLOX_IPL_SHARPNESS_ROI_WEIGHT_WEAK,
        /** Weight 66 */
        Medium = PLOX_IPL_SHARPNESS_ROI_WEIGHT_MEDIUM,
        /** Weight 99 */
        Strong = PLOX_IPL_SHARPNESS_ROI_WEIGHT_STRONG
    };

    /**
     * \brief Creates a measurement with the Tenengrad algorithm over the whole image.
     * \throws Exception An internal error has occurred.
     * \since 1.6
     */
    Sharpness() {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Sharpness_Construct(&handle_); });
    }

    /**
     * \brief This only creates a shallow copy: both share algorithm and regions.
     * \param other The measurement to share
     * \since 1.8
     */
    Sharpness(const Sharpness& other) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Sharpness_Clone(other.handle_, &handle_); });
    }

    /** \brief Takes the other measurement's handle; the other one must not be used afterwards. */
    Sharpness(Sharpness&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}

    Sharpness& operator=(const Sharpness&) = delete;
    Sharpness& operator=(Sharpness&&) = delete;

    ~Sharpness() {
        if (handle_ != nullptr) PLOX_IPL_Sharpness_Destruct(handle_);
    }

    /**
     * \brief Measures the sharpness of an image.
     *
     * Will not work with packed pixel formats. See 'unpackPixelformat' for the correct handling of this.
     * \param image The image to measure
     * \return Relative sharpness value
     * \throws InvalidPixelFormat pixel format isn't supported.
     * \throws OutOfRangeException A region lies outside the image, or the image is smaller than ROIMinSize().
     * \since 1.6
     */
    double Measure(const Image& image) const {
        double value = 0.0;
        ExecuteAndMapReturnCodes(
            [&] { return PLOX_IPL_Sharpness_Measure(handle_, image.GetBackendHandle(), &value); });
        return value;
    }

    /**
     * \brief Whether images of a pixel format can be measured.
     * \param pixelFormatName The pixel format
     * \return True when Measure accepts the format
     * \throws InvalidArgumentException The pixel format is unknown.
     * \since 1.6
     */
    bool IsPixelFormatSupported(PixelFormatName pixelFormatName) const {
        uint8_t supported = 0;
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_Sharpness_IsPixelFormatSupported(handle_, static_cast<uint32_t>(pixelFormatName),
                                                             &supported);
        });
        return supported != 0;
    }

    /**
     * \brief The pixel formats Measure accepts.
     * \return Supported pixel formats
     * \throws Exception An internal error has occurred.
     * \since 1.6
     */
    std::vector<PixelFormatName> SupportedPixelFormats() const {
        size_t count = 0;
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Sharpness_GetSupportedPixelFormats(handle_, nullptr, &count); });
        std::vector<uint32_t> names(count);
        ExecuteAndMapReturnCodes(
            [&] { return PLOX_IPL_Sharpness_GetSupportedPixelFormats(handle_, names.data(), &count); });
        std::vector<PixelFormatName> formats;
        for (size_t i = 0; i < count; ++i) formats.push_back(static_cast<PixelFormatName>(names[i]));
        return formats;
    }

    /**
     * \brief Sets the algorithm.
     * \param algorithm The algorithm of later measurements
     * \throws InvalidArgumentException algorithm isn't one of SharpnessAlgorithm.
     * \since 1.6
     */
    void SetAlgorithm(SharpnessAlgorithm algorithm) {
        ExecuteAndMapReturnCodes(
            [&] { return PLOX_IPL_Sharpness_SetAlgorithm(handle_, static_cast<int32_t>(algorithm)); });
    }

    /**
     * \brief The algorithm.
     * \return The algorithm of later measurements
     * \throws Exception An internal error has occurred.
     * \since 1.6
     */
    SharpnessAlgorithm Algorithm() const {
        int32_t algorithm = 0;
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Sharpness_GetAlgorithm(handle_, &algorithm); });
        return static_cast<SharpnessAlgorithm>(algorithm);
    }

    /**
     * \brief The smallest region a measurement takes.
     * \return Required minimum size of a roi
     * \throws Exception An internal error has occurred.
     * \since 1.6
     */
    Size2D ROIMinSize() const {
        size_t width = 0;
        size_t height = 0;
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Sharpness_GetROIMinSize(handle_, &width, &height); });
        return Size2D::New(width, height);
    }

    /**
     * \brief Replaces every region; an empty list measures the whole image again.
     * \param rois The regions, each at least ROIMinSize()
     * \throws OutOfRangeException A region is smaller than ROIMinSize().
     * \throws InvalidArgumentException A sampling interval is 0 or a weight is not 33, 66 or 99.
     * \since 1.6
     */
    void SetROIs(const std::vector<plox::ipl::SharpnessROI>& rois);

    /**
     * \brief Measures one region only.
     * \param roi The region
     * \throws OutOfRangeException The region is smaller than ROIMinSize().
     * \throws InvalidArgumentException A sampling interval is 0 or the weight is not 33, 66 or 99.
     * \since 1.6
     */
    void SetROI(const SharpnessROI& roi);

    /**
     * \brief Measures one rectangle only, at every pixel with weight Medium.
     * \param rect The region
     * \throws OutOfRangeException The region is smaller than ROIMinSize().
     * \since 1.6
     */
    void SetROI(const Rect2D& rect);

#ifdef SWIG
    /**
     * \brief Measures one region only.
     * \param roi The region
     * \throws OutOfRangeException The region is smaller than ROIMinSize().
     * \throws InvalidArgumentException A sampling interval is 0 or the weight is not 33, 66 or 99.
     * \since 1.6
     */
    void SetROI(const plox::ipl::SharpnessROI& roi);
#endif

    /**
     * \brief The regions set; empty when the whole image is measured.
     * \return Active measurement rois
     * \throws Exception An internal error has occurred.
     * \since 1.6
     */
    std::vector<plox::ipl::SharpnessROI> GetROIs() const;

private:
    PLOX_IPL_SHARPNESS_HANDLE handle_ = nullptr;
};

/** \brief A weighted region of a sharpness measurement, sampled at fixed intervals. \since 1.9.2 */
struct SharpnessROI {
    /** \brief Creates an empty region sampled at every pixel with medium weight. */
    SharpnessROI() = default;
    /**
     * \brief Creates a region.
     * \param rect The region, in pixels of the measured image
     * \param xSamplingInterval Horizontal step between sampled pixels
     * \param ySamplingInterval Vertical step between sampled pixels
     * \param weight Weight of this region in the combined result
     */
    SharpnessROI(const Rect2D& rect, uint8_t xSamplingInterval, uint8_t ySamplingInterval,
                 Sharpness::SharpnessROIWeight weight)
        : rect(rect), xSamplingInterval(xSamplingInterval), ySamplingInterval(ySamplingInterval), weight(weight) {}

    // The region, in pixels of the measured image
    Rect2D rect{0, 0, 0, 0};
    // Horizontal step between sampled pixels
    uint8_t xSamplingInterval = 1;
    // Vertical step between sampled pixels
    uint8_t ySamplingInterval = 1;
    // Weight of this region in the combined result
    Sharpness::SharpnessROIWeight weight = Sharpness::SharpnessROIWeight::Medium;
};

#ifndef SWIG
inline void Sharpness::SetROIs(const std::vector<SharpnessROI>& rois) {
    std::vector<PLOX_IPL_SHARPNESS_ROI> records;
    for (const SharpnessROI& roi : rois) {
        records.push_back(PLOX_IPL_SHARPNESS_ROI{roi.rect.left(), roi.rect.top(), roi.rect.size().width,
                                                 roi.rect.size().height, roi.xSamplingInterval,
                                                 roi.ySamplingInterval, static_cast<uint8_t>(roi.weight)});
    }
    ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Sharpness_SetROIs(handle_, records.data(), records.size()); });
}

inline void Sharpness::SetROI(const SharpnessROI& roi) { SetROIs(std::vector<SharpnessROI>{roi}); }

inline void Sharpness::SetROI(const Rect2D& rect) {
    SetROI(SharpnessROI(rect, 1, 1, SharpnessROIWeight::Medium));
}

inline std::vector<SharpnessROI> Sharpness::GetROIs() const {
    size_t count = 0;
    ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Sharpness_GetROIs(handle_, nullptr, &count); });
    std::vector<PLOX_IPL_SHARPNESS_ROI> records(count);
    ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Sharpness_GetROIs(handle_, records.data(), &count); });
    std::vector<SharpnessROI> rois;
    for (size_t i = 0; i < count; ++i) {
        const PLOX_IPL_SHARPNESS_ROI& r = records[i];
        rois.emplace_back(Rect2D(r.x, r.y, r.width, r.height), r.xSamplingInterval, r.ySamplingInterval,
                          static_cast<Sharpness::SharpnessROIWeight>(r.weight));
    }
    return rois;
}
#endif

}  // namespace ipl
}  // namespace plox
