// Regions of a sharpness measurement.
#pragma once

#include <cstdint>

#include "Types.h"

namespace plox {
namespace ipl {

/** \brief A weighted region of a sharpness measurement, sampled at fixed intervals. \since 1.9.2 */
struct SharpnessROI {
    /** \brief Creates an empty region sampled at every pixel with medium weight. */
    SharpnessROI() = default;
    /**
     * \brief Creates a region.
     * \param rect The region, in pixels of the measured image
     * \param xSamplingInterval Horizontal step between sampled pixels
     * \param ySamplingInterval Vertical step between sampled pixels
     * \param weight Weight of this region in the combined result (33, 66 or 99)
     */
    SharpnessROI(const Rect2D& rect, uint8_t xSamplingInterval, uint8_t ySamplingInterval, uint8_t weight)
        : rect(rect), xSamplingInterval(xSamplingInterval), ySamplingInterval(ySamplingInterval), weight(weight) {}

    /** \brief The region, in pixels of the measured image */
    Rect2D rect{0, 0, 0, 0};
    /** \brief Horizontal step between sampled pixels */
    uint8_t xSamplingInterval = 1;
    /** \brief Vertical step between sampled pixels */
    uint8_t ySamplingInterval = 1;
    /** \brief Weight of this region in the combined result */
    uint8_t weight = 66;
};

}  // namespace ipl
}  // namespace plox
