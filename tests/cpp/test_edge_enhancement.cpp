// Edge enhancement rows: the vector path followed by the scalar tail gives the values, column sums
// and sharpened pixels of a per-pixel reference written from the definition, for every row length
// across several vectors, odd start offsets, 1, 3 and 4 channels, 8 and 16 bits, extreme
// factors and values that saturate, in place or not.
#include "lib/process/edge_rows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <tuple>
#include <type_traits>
#include <vector>

namespace {

using plox::ipl::lib::EdgeShape;
namespace lib = plox::ipl::lib;

template <class T>
using Value = std::conditional_t<sizeof(T) == 1, std::int16_t, std::int32_t>;

EdgeShape shape_of(unsigned channels, unsigned bits, std::int32_t factor) {
    const auto max = static_cast<std::uint16_t>((1u << bits) - 1);
    EdgeShape s{channels, {0, 0, 0}, max, max, factor};
    // BGR order: the weights of stored channels 0 and 2 are swapped against RGB.
    if (channels > 1) s.weight[0] = 7471, s.weight[1] = 38470, s.weight[2] = 19595;
    return s;
}

template <class T>
std::int64_t value_of(const T* p, const EdgeShape& s) {
    if (s.channels == 1) return p[0] & s.mask;
    return (19595 * std::int64_t{p[2] & s.mask} + 38470 * std::int64_t{p[1] & s.mask} +
            7471 * std::int64_t{p[0] & s.mask} + 32768) >> 16;
}

// Mostly the extremes, so details reach +-8 max and sums saturate both ways; stray high bits too.
template <class T>
std::vector<T> random_row(std::size_t count, unsigned bits, std::mt19937& rng) {
    std::vector<T> row(count);
    const std::uint32_t max = (1u << bits) - 1;
    for (auto& v : row) {
        const std::uint32_t r = rng();
        v = static_cast<T>(r % 3 == 0 ? r >> 8 : (r % 3 == 1 ? max : 0) | ((r >> 4) & ~max));
    }
    return row;
}

template <class T>
void values(const T* in, std::size_t width, const EdgeShape& s, const Value<T>* above, const Value<T>* centre,
            Value<T>* out, Value<T>* sums) {
    const std::size_t done = lib::edge_values_row_simd(in, width, s, above, centre, out, sums);
    ASSERT_LE(done, width);
    lib::edge_values_row(in, done, width, s, above, centre, out, sums);
}

template <class T>
void apply(const T* in, std::size_t width, const EdgeShape& s, const Value<T>* centre, const Value<T>* sums, T* out) {
    const std::size_t done = lib::edge_apply_row_simd(in, width, s, centre, sums, out);
    ASSERT_LE(done, width);
    lib::edge_apply_row(in, done, width, s, centre, sums, out);
}

template <class T>
void check_rows(unsigned channels, unsigned bits, std::int32_t factor) {
    const EdgeShape s = shape_of(channels, bits, factor);
    std::mt19937 rng(channels * 100 + bits + static_cast<unsigned>(factor));
    for (std::size_t width = 1; width < 140; ++width) {
        for (std::size_t offset : {0u, 1u, 3u}) {
            SCOPED_TRACE(testing::Message() << "width " << width << " offset " << offset);
            const std::size_t samples = width * channels;
            std::vector<T> rows[3];
            std::vector<Value<T>> lines[3];
            for (int r = 0; r < 3; ++r) {
                rows[r] = random_row<T>(offset + samples, bits, rng);
                lines[r].assign(offset + width, 0);
            }
            std::vector<Value<T>> sums(offset + width + 2);
            values<T>(rows[0].data() + offset, width, s, nullptr, nullptr, lines[0].data() + offset, nullptr);
            values<T>(rows[1].data() + offset, width, s, nullptr, nullptr, lines[1].data() + offset, nullptr);
            values<T>(rows[2].data() + offset, width, s, lines[0].data() + offset, lines[1].data() + offset,
                      lines[2].data() + offset, sums.data() + offset + 1);
            std::vector<std::int64_t> column(width + 2);
            for (std::size_t x = 0; x < width; ++x) {
                std::int64_t sum = 0;
                for (int r = 0; r < 3; ++r) {
                    const std::int64_t v = value_of(rows[r].data() + offset + x * channels, s);
                    ASSERT_EQ(lines[r][offset + x], v) << "row " << r << " pixel " << x;
                    sum += v;
                }
                ASSERT_EQ(sums[offset + 1 + x], sum) << "pixel " << x;
                column[x + 1] = sum;
            }
            // Mirrored columns, as the strip kernel sets them.
            const std::size_t left = width > 1 ? 1 : 0;
            const std::size_t right = width > 1 ? width - 2 : 0;
            sums[offset] = sums[offset + 1 + left];
            sums[offset + width + 1] = sums[offset + 1 + right];
            column[0] = column[1 + left];
            column[width + 1] = column[1 + right];

            std::vector<T> out(offset + samples);
            std::vector<T> in_place = rows[1];
            apply<T>(rows[1].data() + offset, width, s, lines[1].data() + offset, sums.data() + offset,
                     out.data() + offset);
            apply<T>(in_place.data() + offset, width, s, lines[1].data() + offset, sums.data() + offset,
                     in_place.data() + offset);
            const std::uint32_t sharpened = channels == 4 ? 3 : channels;
            for (std::size_t x = 0; x < width; ++x) {
                const T* p = rows[1].data() + offset + x * channels;
                const std::int64_t detail = 9 * value_of(p, s) - (column[x] + column[x + 1] + column[x + 2]);
                const auto delta = static_cast<std::int64_t>(std::floor((factor * detail + 32) / 64.0));
                for (unsigned c = 0; c < channels; ++c) {
                    const std::int64_t expected =
                        c < sharpened ? std::clamp<std::int64_t>((p[c] & s.mask) + delta, 0, s.max) : p[c];
                    ASSERT_EQ(out[offset + x * channels + c], expected) << "pixel " << x << " channel " << c;
                    ASSERT_EQ(in_place[offset + x * channels + c], expected) << "in place, pixel " << x;
                }
            }
        }
    }
}

class EdgeRows : public ::testing::TestWithParam<std::tuple<unsigned, unsigned, std::int32_t>> {};

TEST_P(EdgeRows, VectorAndTailEqualTheDefinition) {
    const auto& [channels, bits, factor] = GetParam();
    if (bits == 8) check_rows<std::uint8_t>(channels, bits, factor);
    else check_rows<std::uint16_t>(channels, bits, factor);
}

INSTANTIATE_TEST_SUITE_P(EdgeEnhancement, EdgeRows,
                         ::testing::Combine(::testing::Values(1u, 3u, 4u), ::testing::Values(8u, 12u, 16u),
                                            ::testing::Values(1, 37, 64)));

}  // namespace
