// The SIMD part of a quarter turn: whole square blocks of 1-, 2- or 3-byte pixels transposed in
// registers. The caller moves the pixels outside whole blocks.
#pragma once

#include <cstddef>
#include <cstdint>

namespace plox::ipl::lib {

// result(x, y) = source(column c(y), row r(x)), with c(y) = mirror_rows ? height - 1 - y : y and
// r(x) = mirror_columns ? width - 1 - x : x; width and height are the result's.
struct Turn {
    const std::uint8_t* source;
    std::ptrdiff_t source_stride;
    std::uint8_t* result;
    std::ptrdiff_t result_stride;
    std::size_t width;
    std::size_t height;
    bool mirror_rows;
    bool mirror_columns;
};

// Writes the whole blocks of result rows [first, first + rows) and columns [0, width), rows and
// width rounded down to the block side, which it returns; 0 (nothing written) for other pixel
// sizes, for 3-byte source rows under 7 pixels, or with SIMD off.
std::size_t turn_blocks(const Turn& turn, std::size_t pixel_bytes, std::size_t first, std::size_t rows);

}  // namespace plox::ipl::lib
