// Decoded pictures as the file codecs see them: rows of 8 or 16-bit samples, grey or colour in
// R, G, B(, A) order, with no padding between rows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "../core/buffer.h"

namespace plox::ipl::lib {

// Pictures larger than this many sample bytes are refused before any memory is taken for them,
// so a forged header cannot make a reader allocate without bound.
inline constexpr std::uint64_t kMaxRasterBytes = std::uint64_t{4} << 30;

// What an encoder writes. 16-bit samples are little-endian words holding `significant_bits`
// bits in their low bits (a 12-bit camera value 4095 is the word 4095).
struct RasterView {
    const std::uint8_t* data;
    std::size_t width;
    std::size_t height;
    unsigned channels;          // 1 grey, 3 RGB, 4 RGBA
    unsigned bits;              // 8 or 16
    unsigned significant_bits;  // 8 for 8-bit; 9 to 16 for 16-bit
};

// What a decoder gives. Channels 1 grey, 2 grey + alpha, 3 RGB, 4 RGBA; 16-bit samples as
// little-endian words. A PNG with an sBIT chunk gives the original values back (a 12-bit image
// written by us reads as words up to 4095 with significant_bits 12).
struct Raster {
    std::size_t width = 0;
    std::size_t height = 0;
    unsigned channels = 0;
    unsigned bits = 8;
    unsigned significant_bits = 8;
    Buffer pixels;  // width * height * channels * bits / 8 bytes
};

// An encoded file in memory.
struct Encoded {
    std::shared_ptr<const std::uint8_t> data;
    std::size_t size = 0;
};

}  // namespace plox::ipl::lib
