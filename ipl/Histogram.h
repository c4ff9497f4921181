// Per-channel histogram records.
#pragma once

#include <cstdint>
#include <vector>

namespace plox {
namespace ipl {

/** \brief The histogram of one channel. \since 1.9.2 */
struct HistogramChannel {
    /** \brief Sum of the values of all counted pixels of this channel */
    uint64_t PixelSum = 0;
    /** \brief Number of counted pixels of this channel */
    uint64_t PixelCount = 0;
    /** \brief One counter per bin; the index is the pixel value bin */
    std::vector<uint64_t> Bins;
};

}  // namespace ipl
}  // namespace plox
