// Row kernels of the edge enhancement. A value row holds each pixel's grey value, or its BT.601
// luma (16-bit weights, + 32768, >> 16), as int16 for 8-bit samples and int32 for wider ones.
// A pixel's detail is 9 L(centre) - (3x3 box sum of L); delta = (factor detail + 32) >> 6 is
// added to every colour channel, saturated to 0..max. The vector and scalar paths compute the
// same integers, so they give the same bytes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace plox::ipl::lib {

struct EdgeShape {
    unsigned channels;        // 1, 3, or 4 with alpha (channel 3, copied unchanged)
    std::uint32_t weight[3];  // luma weights of stored channels 0 to 2 (colour formats)
    std::uint16_t mask;       // significant bits of a sample
    std::int32_t max;         // the format's largest value
    std::int32_t factor;      // 1 to 64
};

// Values of pixels [first, end) of row `in` into `values`. With `sums`, also the column sums
// above + centre + values, index for index.
void edge_values_row(const std::uint8_t* in, std::size_t first, std::size_t end, const EdgeShape& shape,
                     const std::int16_t* above, const std::int16_t* centre, std::int16_t* values,
                     std::int16_t* sums);
void edge_values_row(const std::uint16_t* in, std::size_t first, std::size_t end, const EdgeShape& shape,
                     const std::int32_t* above, const std::int32_t* centre, std::int32_t* values,
                     std::int32_t* sums);

// Pixels [first, end) of row `in` plus their deltas into `out` (which may be `in`). `centre` is
// the row's values; `sums` the column sums with a mirrored column at each end (column x at x + 1).
void edge_apply_row(const std::uint8_t* in, std::size_t first, std::size_t end, const EdgeShape& shape,
                    const std::int16_t* centre, const std::int16_t* sums, std::uint8_t* out);
void edge_apply_row(const std::uint16_t* in, std::size_t first, std::size_t end, const EdgeShape& shape,
                    const std::int32_t* centre, const std::int32_t* sums, std::uint16_t* out);

// The vector paths: how many pixels from the start of the row they did (the rest is the caller's).
std::size_t edge_values_row_simd(const std::uint8_t* in, std::size_t width, const EdgeShape& shape,
                                 const std::int16_t* above, const std::int16_t* centre, std::int16_t* values,
                                 std::int16_t* sums);
std::size_t edge_values_row_simd(const std::uint16_t* in, std::size_t width, const EdgeShape& shape,
                                 const std::int32_t* above, const std::int32_t* centre, std::int32_t* values,
                                 std::int32_t* sums);
std::size_t edge_apply_row_simd(const std::uint8_t* in, std::size_t width, const EdgeShape& shape,
                                const std::int16_t* centre, const std::int16_t* sums, std::uint8_t* out);
std::size_t edge_apply_row_simd(const std::uint16_t* in, std::size_t width, const EdgeShape& shape,
                                const std::int32_t* centre, const std::int32_t* sums, std::uint16_t* out);

}  // namespace plox::ipl::lib
