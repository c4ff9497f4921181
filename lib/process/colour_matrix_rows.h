// Rows of pixels times a 3x3 matrix, in the pixels' stored channel order. Every path computes
// ((m0 a + m1 b) + m2 c) + 0.5 in single precision, clamps to 0..max and truncates, so the
// vector and scalar paths give the same bytes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace plox::ipl::lib {

struct StoredMatrix {
    std::array<float, 9> m;  // row k: the contributions of stored channels 0, 1, 2 to channel k
    float max;               // the format's largest value
    std::uint16_t mask;      // significant bits of a sample
    unsigned channels;       // 3, or 4 with alpha (channel 3, copied unchanged)
};

// Pixels [first, end) of a row; `out` may be `in`.
void colour_matrix_row(const std::uint8_t* in, std::uint8_t* out, std::size_t first, std::size_t end,
                       const StoredMatrix& matrix);
void colour_matrix_row(const std::uint16_t* in, std::uint16_t* out, std::size_t first, std::size_t end,
                       const StoredMatrix& matrix);

// The vector path: how many pixels from the start of the row it did (the rest is the caller's).
std::size_t colour_matrix_row_simd(const std::uint8_t* in, std::uint8_t* out, std::size_t pixels,
                                   const StoredMatrix& matrix);
std::size_t colour_matrix_row_simd(const std::uint16_t* in, std::uint16_t* out, std::size_t pixels,
                                   const StoredMatrix& matrix);

}  // namespace plox::ipl::lib
