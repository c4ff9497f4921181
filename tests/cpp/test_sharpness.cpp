// Sharpness row kernels against a plain per-sample reference, and the C entry points' list
// queries, which Python reaches only through the class layer's two calls.
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include <umb_plox_ipl/image.h>
#include <umb_plox_ipl/library.h>
#include <umb_plox_ipl/sharpness.h>

#include "lib/process/sharpness_rows.h"

namespace {

using namespace plox::ipl::lib::sharpness;

std::size_t mirrored(std::ptrdiff_t x, std::size_t width) {
    if (width == 1) return 0;
    if (x < 0) return std::size_t(-x);
    if (x >= std::ptrdiff_t(width)) return 2 * (width - 1) - std::size_t(x);
    return std::size_t(x);
}

// Straight from the definitions, one sample at a time, in double.
template <class V>
RowSums reference(int algorithm, const std::vector<std::vector<V>>& rows, std::size_t x0, std::size_t step,
                  std::size_t count) {
    const std::size_t width = rows[0].size();
    RowSums sums;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t x = x0 + i * step;
        double n[3][3];
        for (int dy = 0; dy < 3; ++dy)
            for (int dx = 0; dx < 3; ++dx) n[dy][dx] = double(rows[dy][mirrored(std::ptrdiff_t(x) + dx - 1, width)]);
        const double gx = (n[0][2] + 2 * n[1][2] + n[2][2]) - (n[0][0] + 2 * n[1][0] + n[2][0]);
        const double gy = (n[2][0] + 2 * n[2][1] + n[2][2]) - (n[0][0] + 2 * n[0][1] + n[0][2]);
        double around = 0;
        for (auto& r : n)
            for (double v : r) around += v;
        around -= n[1][1];
        switch (algorithm) {
            case 0: sums.first += gx * gx + gy * gy; break;
            case 1: sums.first += std::fabs(8 * n[1][1] - around); break;
            case 2:
                sums.first += n[1][1];
                sums.second += n[1][1] * n[1][1];
                break;
            default: sums.first += std::sqrt(gx * gx + gy * gy);
        }
    }
    return sums;
}

template <class Op, class V>
RowSums kernel(const std::vector<std::vector<V>>& rows, std::size_t x0, std::size_t step, std::size_t count) {
    return sum_row<Op>(rows[0].data(), rows[1].data(), rows[2].data(), rows[0].size(), x0, step, count);
}

template <class V>
RowSums run(int algorithm, const std::vector<std::vector<V>>& rows, std::size_t x0, std::size_t step,
            std::size_t count) {
    switch (algorithm) {
        case 0: return kernel<Tenengrad>(rows, x0, step, count);
        case 1: return kernel<MeanScore>(rows, x0, step, count);
        case 2: return kernel<HistogramVariance>(rows, x0, step, count);
        default: return kernel<Sobel>(rows, x0, step, count);
    }
}

template <class V>
std::vector<std::vector<V>> random_rows(std::size_t width, double max, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> value(0, max);
    std::vector<std::vector<V>> rows(3, std::vector<V>(width));
    for (auto& row : rows)
        for (V& v : row) v = V(value(random));
    return rows;
}

struct Window {
    std::size_t width, x0, step, count;
};

// Whole rows (both borders), inner runs, a single column, strided runs ending at the border.
const Window kWindows[] = {{37, 0, 1, 37}, {37, 5, 1, 20}, {37, 36, 1, 1}, {37, 0, 3, 13},
                           {37, 1, 4, 9},  {2, 0, 1, 2},   {1, 0, 1, 1},   {64, 63, 1, 1}};

template <class V>
void check_against_reference(double max) {
    for (int algorithm = 0; algorithm < 4; ++algorithm) {
        unsigned seed = 1;
        for (const Window& w : kWindows) {
            const auto rows = random_rows<V>(w.width, max, seed++);
            const RowSums got = run(algorithm, rows, w.x0, w.step, w.count);
            const RowSums want = reference(algorithm, rows, w.x0, w.step, w.count);
            const double tolerance = std::is_same_v<V, float> || algorithm == 3 ? 1e-6 : 0.0;
            EXPECT_NEAR(got.first, want.first, tolerance * (1 + std::fabs(want.first)))
                << "algorithm " << algorithm << " width " << w.width << " x0 " << w.x0 << " step " << w.step;
            EXPECT_NEAR(got.second, want.second, tolerance * (1 + std::fabs(want.second)));
        }
    }
}

TEST(SharpnessRows, BytesMatchTheDefinitions) { check_against_reference<std::uint8_t>(256); }
TEST(SharpnessRows, WordsMatchTheDefinitions) { check_against_reference<std::uint16_t>(65536); }
TEST(SharpnessRows, FloatsMatchTheDefinitions) { check_against_reference<float>(4096); }

// The largest 16-bit gradients square beyond 32 bits.
TEST(SharpnessRows, SixteenBitExtremesDoNotOverflow) {
    std::vector<std::vector<std::uint16_t>> rows{{0, 0, 0}, {0, 0, 65535}, {65535, 65535, 65535}};
    const RowSums got = kernel<Tenengrad>(rows, 1, 1, 1);
    EXPECT_EQ(got.first, reference(0, rows, 1, 1, 1).first);
}

struct SharpnessCapi : ::testing::Test {
    void SetUp() override { ASSERT_EQ(PLOX_IPL_Sharpness_Construct(&sharpness), PLOX_IPL_RETURN_CODE_SUCCESS); }
    void TearDown() override { PLOX_IPL_Sharpness_Destruct(sharpness); }
    PLOX_IPL_SHARPNESS_HANDLE sharpness = nullptr;
};

TEST_F(SharpnessCapi, RegionListQueriesTakeTwoCalls) {
    const PLOX_IPL_SHARPNESS_ROI set[2] = {{0, 0, 8, 8, 1, 2, 33}, {4, 5, 16, 9, 3, 1, 99}};
    ASSERT_EQ(PLOX_IPL_Sharpness_SetROIs(sharpness, set, 2), PLOX_IPL_RETURN_CODE_SUCCESS);
    size_t count = 0;
    ASSERT_EQ(PLOX_IPL_Sharpness_GetROIs(sharpness, nullptr, &count), PLOX_IPL_RETURN_CODE_SUCCESS);
    ASSERT_EQ(count, 2u);
    PLOX_IPL_SHARPNESS_ROI got[2] = {};
    size_t short_count = 1;
    EXPECT_EQ(PLOX_IPL_Sharpness_GetROIs(sharpness, got, &short_count), PLOX_IPL_RETURN_CODE_BUFFER_TOO_SMALL);
    ASSERT_EQ(PLOX_IPL_Sharpness_GetROIs(sharpness, got, &count), PLOX_IPL_RETURN_CODE_SUCCESS);
    EXPECT_EQ(got[1].x, 4u);
    EXPECT_EQ(got[1].height, 9u);
    EXPECT_EQ(got[1].xSamplingInterval, 3);
    EXPECT_EQ(got[1].weight, 99);
    EXPECT_EQ(PLOX_IPL_Sharpness_SetROIs(sharpness, nullptr, 1), PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    EXPECT_EQ(PLOX_IPL_Sharpness_SetROIs(sharpness, nullptr, 0), PLOX_IPL_RETURN_CODE_SUCCESS);
    ASSERT_EQ(PLOX_IPL_Sharpness_GetROIs(sharpness, nullptr, &count), PLOX_IPL_RETURN_CODE_SUCCESS);
    EXPECT_EQ(count, 0u);
}

TEST_F(SharpnessCapi, FormatListAgreesWithThePredicate) {
    size_t count = 0;
    ASSERT_EQ(PLOX_IPL_Sharpness_GetSupportedPixelFormats(sharpness, nullptr, &count), PLOX_IPL_RETURN_CODE_SUCCESS);
    std::vector<uint32_t> names(count);
    size_t short_count = count - 1;
    EXPECT_EQ(PLOX_IPL_Sharpness_GetSupportedPixelFormats(sharpness, names.data(), &short_count),
              PLOX_IPL_RETURN_CODE_BUFFER_TOO_SMALL);
    ASSERT_EQ(PLOX_IPL_Sharpness_GetSupportedPixelFormats(sharpness, names.data(), &count),
              PLOX_IPL_RETURN_CODE_SUCCESS);
    for (uint32_t name : names) {
        uint8_t supported = 0;
        ASSERT_EQ(PLOX_IPL_Sharpness_IsPixelFormatSupported(sharpness, name, &supported),
                  PLOX_IPL_RETURN_CODE_SUCCESS);
        EXPECT_EQ(supported, 1) << name;
    }
}

}  // namespace
