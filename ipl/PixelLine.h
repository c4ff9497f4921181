// The values of one row or column of an image, per channel.
#pragma once

#include <cstdint>
#include <vector>

namespace plox {
namespace ipl {

/** \brief The values of one channel along a pixel line, one per pixel. \since 1.9.2 */
struct PixelLineChannel {
    /** \brief One value per pixel of the line; every pixel format is delivered as 32-bit values */
    std::vector<uint32_t> Values;
};

}  // namespace ipl
}  // namespace plox
