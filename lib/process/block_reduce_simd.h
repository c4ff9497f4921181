// Vector fast paths for blocks two pixels wide, picked at run time for the CPU. Each returns how
// many output pixels (units) it wrote from the start of the row; the caller does the rest with
// the same arithmetic, so SIMD on or off gives the same bytes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace plox::ipl::lib {

// 2x2 blocks of `channels`-sample pixels (1 to 4) from two rows: the mean rounded half up, or the
// sum saturated at `max` (with `average_alpha`, sample 3 is averaged in either mode). Samples are
// masked with `max` first, so only significant bits count.
std::size_t bin2x2_row_simd(const std::uint8_t* row0, const std::uint8_t* row1, std::size_t pixels,
                            unsigned channels, std::uint8_t max, bool sum, bool average_alpha, std::uint8_t* out);
std::size_t bin2x2_row_simd(const std::uint16_t* row0, const std::uint16_t* row1, std::size_t pixels,
                            unsigned channels, std::uint16_t max, bool sum, bool average_alpha, std::uint16_t* out);

// Every second unit of `unit_bytes` bytes (1, 2, 4 or 8; others are left to the caller).
std::size_t decimate2_row_simd(const std::uint8_t* row, std::size_t units, unsigned unit_bytes, std::uint8_t* out);

}  // namespace plox::ipl::lib
