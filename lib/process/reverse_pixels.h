// Reversing the order of the pixels of a row: the inner loop of left-right mirroring.
#pragma once

#include <cstddef>
#include <cstdint>

namespace plox::ipl::lib {

// out pixel x = in pixel (pixels - 1 - x); pixels of 1, 2, 3, 4, 6, 8 or 12 bytes. The ranges
// must not overlap.
void reverse_pixels(const std::uint8_t* in, std::uint8_t* out, std::size_t pixels, std::size_t pixel_bytes);

// The same within one row.
void reverse_pixels_in_place(std::uint8_t* row, std::size_t pixels, std::size_t pixel_bytes);

}  // namespace plox::ipl::lib
