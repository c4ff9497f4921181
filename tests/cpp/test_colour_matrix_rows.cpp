// The 8-bit fixed-point colour matrix: vector and scalar paths give the same bytes for every row
// length, offset and channel count, in place or not, and stay within one unit of a double
// reference even for coefficients at the edge of the 16-bit range.
#include "lib/process/colour_matrix_rows.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "tests/cpp/cpu_targets.h"

namespace {

using plox::ipl::lib::colour_matrix_row;
using plox::ipl::lib::colour_matrix_row_simd;
using plox::ipl::lib::derive_fixed_point;
using plox::ipl::lib::StoredMatrix;

using Factors = std::array<float, 9>;

StoredMatrix matrix8(const Factors& m, unsigned channels) {
    StoredMatrix sm{m, 255.0f, 0xFF, channels};
    derive_fixed_point(sm);
    return sm;
}

// What the caller does: the vector path, then the scalar path from where it stopped.
void run_row(const std::uint8_t* in, std::uint8_t* out, std::size_t pixels, const StoredMatrix& sm) {
    const std::size_t done = colour_matrix_row_simd(in, out, pixels, sm);
    ASSERT_LE(done, pixels);
    colour_matrix_row(in, out, done, pixels, sm);
}

std::uint8_t reference(const Factors& m, const std::uint8_t* p, unsigned k) {
    const double v = std::floor(double{m[3 * k]} * p[0] + double{m[3 * k + 1]} * p[1] + double{m[3 * k + 2]} * p[2] + 0.5);
    return static_cast<std::uint8_t>(std::clamp(v, 0.0, 255.0));
}

const Factors kWarm{1.2f, -0.1f, -0.05f, -0.15f, 1.1f, 0.05f, 0.0f, -0.3f, 1.35f};
// Largest magnitudes that still have a fixed-point form, mixed signs: sums far outside 16 bits.
const Factors kEdge{31.9f, -31.9f, 0.001f, -31.9f, 31.9f, 31.9f, 0.5f, -0.25f, 31.9f};
// Small factors where rounding to 2^-14 matters most.
const Factors kFine{0.299f, 0.587f, 0.114f, -0.1687f, -0.3313f, 0.5f, 0.5f, -0.4187f, -0.0813f};
// Beyond the 16-bit coefficient range: the float path.
const Factors kHuge{40.0f, -3.0f, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 0.0f, -100.0f};

using plox::ipl::test::cpu_targets;
using plox::ipl::test::OnlyTarget;

void check_rows(const Factors& m, unsigned channels) {
    const StoredMatrix sm = matrix8(m, channels);
    std::mt19937 rng(channels);
    // Every length through three 64-pixel blocks and a tail; odd byte offsets of the row start.
    for (std::size_t pixels = 0; pixels < 200; ++pixels) {
        for (std::size_t offset : {0u, 1u, 3u}) {
            std::vector<std::uint8_t> in(offset + pixels * channels);
            for (auto& v : in) v = static_cast<std::uint8_t>(rng() % 4 == 0 ? (rng() & 1) * 255 : rng());
            std::vector<std::uint8_t> scalar = in, vector = in;  // the bytes before the row stay
            colour_matrix_row(in.data() + offset, scalar.data() + offset, 0, pixels, sm);
            run_row(in.data() + offset, vector.data() + offset, pixels, sm);
            ASSERT_EQ(vector, scalar) << pixels << " pixels of " << channels << " channels at offset " << offset;
            std::vector<std::uint8_t> same = in;
            run_row(same.data() + offset, same.data() + offset, pixels, sm);
            ASSERT_EQ(same, scalar) << "in place, " << pixels << " pixels";
            for (std::size_t x = 0; x < pixels; ++x) {
                const std::uint8_t* p = in.data() + offset + x * channels;
                const std::uint8_t* q = scalar.data() + offset + x * channels;
                for (unsigned k = 0; k < 3; ++k)
                    ASSERT_LE(std::abs(q[k] - reference(m, p, k)), 1) << "pixel " << x << " channel " << k;
                if (channels == 4) {
                    ASSERT_EQ(q[3], p[3]) << "alpha of pixel " << x;
                }
            }
        }
    }
}

class FixedPointRows : public ::testing::TestWithParam<std::tuple<Factors, unsigned>> {};

TEST_P(FixedPointRows, VectorEqualsScalarAndStaysWithinOneOfDoubleOnEveryTarget) {
    const auto& [m, channels] = GetParam();
    for (const std::int64_t target : cpu_targets()) {
        SCOPED_TRACE(hwy::TargetName(target));
        const OnlyTarget only(target);
        check_rows(m, channels);
    }
}

INSTANTIATE_TEST_SUITE_P(Matrices, FixedPointRows,
                         ::testing::Combine(::testing::Values(kWarm, kEdge, kFine, kHuge), ::testing::Values(3u, 4u)));

TEST(FixedPointRows, ShiftKeepsCoefficientsWithinSixteenBits) {
    StoredMatrix sm = matrix8(kWarm, 3);
    EXPECT_EQ(sm.shift, 14u);
    EXPECT_EQ(sm.fixed[0], std::lround(1.2 * 16384));
    sm = matrix8(kEdge, 3);
    EXPECT_EQ(sm.shift, 10u);
    EXPECT_EQ(sm.fixed[1], std::lround(-31.9 * 1024));
    sm = matrix8(Factors{2.0f, 0, 0, 0, 2.0f, 0, 0, 0, -2.0f}, 4);
    EXPECT_EQ(sm.shift, 13u);  // 2 2^14 does not fit in 16 bits
    EXPECT_EQ(matrix8(kHuge, 3).shift, 0u);
    StoredMatrix deep{kWarm, 4095.0f, 0x0FFF, 3};  // the integer kernels saturate to 255
    derive_fixed_point(deep);
    EXPECT_EQ(deep.shift, 0u);
}

}  // namespace
