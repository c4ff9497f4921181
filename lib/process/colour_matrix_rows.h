// Rows of pixels times a 3x3 matrix, in the pixels' stored channel order.
//
// 8-bit samples use fixed point when the matrix allows it: coefficients q = round(m 2^s) in 16 bits,
// each channel (q0 a + q1 b + q2 c + 2^(s-1)) >> s in 32 bits, saturated to 0..255. s is the
// largest shift up to 14 that keeps every q within 16 bits; below 10 (a factor of 32 or more) the
// rounding of q could cost more than one unit, so such matrices take the float path.
// The float path (16-bit containers, and 8-bit matrices with large factors) computes
// ((m0 a + m1 b) + m2 c) + 0.5 in single precision, clamps to 0..max and truncates.
// The vector and scalar paths of each kind give the same bytes.
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
    std::array<std::int16_t, 9> fixed{};  // m 2^shift, rounded
    unsigned shift = 0;                   // 0: the matrix has no fixed-point form
};

// Fills `fixed` and `shift` from `m` for full 8-bit samples; other depths keep shift 0.
void derive_fixed_point(StoredMatrix& matrix);

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
