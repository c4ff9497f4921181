// Demosaicing kernels: bilinear against the rounded mean of the same-colour 3x3 neighbours of a
// mirrored image; the directional method against its own scalar path, band splits and images it
// must reproduce exactly (its pixel reference is NumPy, in tests/test_demosaic.py).
#include "lib/convert/demosaic.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "lib/core/settings.h"
#include "tests/cpp/cpu_targets.h"

namespace {

using plox::ipl::lib::ChannelLayout;
using plox::ipl::lib::demosaic;
using plox::ipl::lib::DemosaicMethod;
using plox::ipl::lib::Settings;

constexpr ChannelLayout kRGB{0, 1, 2, -1}, kBGR{2, 1, 0, -1}, kRGBa{0, 1, 2, 3}, kBGRa{2, 1, 0, 3};
constexpr PLOX_IPL_BAYER_PATTERN kPatterns[] = {PLOX_IPL_BAYER_PATTERN_RG, PLOX_IPL_BAYER_PATTERN_GR,
                                                PLOX_IPL_BAYER_PATTERN_GB, PLOX_IPL_BAYER_PATTERN_BG};

// 0 red, 1 green, 2 blue, from the top-left 2x2 cell the pattern names.
int colour_at(PLOX_IPL_BAYER_PATTERN pattern, long x, long y) {
    const char* cell = pattern == PLOX_IPL_BAYER_PATTERN_RG   ? "RGGB"
                       : pattern == PLOX_IPL_BAYER_PATTERN_GR ? "GRBG"
                       : pattern == PLOX_IPL_BAYER_PATTERN_GB ? "GBRG"
                                                              : "BGGR";
    const char c = cell[(y & 1) * 2 + (x & 1)];
    return c == 'R' ? 0 : c == 'G' ? 1 : 2;
}

PLOX_IPL_BAYER_PATTERN pattern_of_row(PLOX_IPL_BAYER_PATTERN pattern, std::size_t row) {
    if (row % 2 == 0) return pattern;
    switch (pattern) {
        case PLOX_IPL_BAYER_PATTERN_RG: return PLOX_IPL_BAYER_PATTERN_GB;
        case PLOX_IPL_BAYER_PATTERN_GB: return PLOX_IPL_BAYER_PATTERN_RG;
        case PLOX_IPL_BAYER_PATTERN_GR: return PLOX_IPL_BAYER_PATTERN_BG;
        default: return PLOX_IPL_BAYER_PATTERN_GR;
    }
}

long reflect(long i, long n) {
    if (n == 1) return 0;
    while (i < 0 || i >= n) i = i < 0 ? -i : 2 * (n - 1) - i;
    return i;
}

template <class T>
struct Mosaic {
    long width, height;
    std::vector<T> pixels;
    long at(long x, long y) const { return pixels[reflect(y, height) * width + reflect(x, width)]; }
};

template <class T>
Mosaic<T> random_mosaic(long width, long height, std::uint32_t top, unsigned seed) {
    std::mt19937 rng(seed);
    Mosaic<T> m{width, height, std::vector<T>(width * height)};
    for (T& v : m.pixels) v = static_cast<T>(rng() % (top + 1));
    return m;
}

long clamp_value(long v, long max_value) { return v < 0 ? 0 : v > max_value ? max_value : v; }

// Bilinear value of colour k at (x, y).
template <class T>
long reference(const Mosaic<T>& m, PLOX_IPL_BAYER_PATTERN p, long max_value, long x, long y, int k) {
    const int own = colour_at(p, x, y);
    if (own == k) return clamp_value(m.at(x, y), max_value);
    long sum = 0, n = 0;
    for (long dy = -1; dy <= 1; ++dy)
        for (long dx = -1; dx <= 1; ++dx)
            if (colour_at(p, x + dx, y + dy) == k) sum += m.at(x + dx, y + dy), ++n;
    return clamp_value((sum + n / 2) / n, max_value);
}

// Runs the kernel over the whole image in bands of `band_rows`, with halo rows mirrored as the
// engine does.
template <class T>
std::vector<T> run(const Mosaic<T>& m, PLOX_IPL_BAYER_PATTERN p, DemosaicMethod method, std::uint32_t max_value,
                   ChannelLayout layout, long band_rows = 0) {
    const long w = m.width, h = m.height, channels = layout.has_alpha() ? 4 : 3;
    const auto halo = static_cast<long>(plox::ipl::lib::demosaic_halo(method));
    std::vector<T> padded((h + 2 * halo) * w);
    for (long y = -halo; y < h + halo; ++y)
        for (long x = 0; x < w; ++x) padded[(y + halo) * w + x] = static_cast<T>(m.at(x, y));
    std::vector<T> out(h * w * channels, 0xAB);
    if (band_rows <= 0) band_rows = h;
    for (long y = 0; y < h; y += band_rows) {
        const long rows = std::min(band_rows, h - y);
        demosaic<T>(padded.data() + (y + halo) * w, w, w, rows, pattern_of_row(p, y), method, max_value, layout,
                    out.data() + y * w * channels, w * channels);
    }
    return out;
}

struct SimdOff {
    SimdOff() { Settings::instance().set_simd_enabled(false); }
    ~SimdOff() { Settings::instance().set_simd_enabled(true); }
};

using plox::ipl::test::cpu_targets;
using plox::ipl::test::OnlyTarget;

template <class T>
void expect_matches_reference(const Mosaic<T>& m, PLOX_IPL_BAYER_PATTERN p, std::uint32_t max_value) {
    const std::vector<T> out = run(m, p, DemosaicMethod::bilinear, max_value, kRGB);
    long mismatches = 0;
    for (long y = 0; y < m.height; ++y)
        for (long x = 0; x < m.width; ++x)
            for (int k = 0; k < 3; ++k) {
                const long expected = reference(m, p, max_value, x, y, k);
                const long got = out[(y * m.width + x) * 3 + k];
                if (got != expected && ++mismatches <= 5) {
                    ADD_FAILURE() << "pixel (" << x << ", " << y << ") colour " << k << ": " << got
                                  << " != " << expected;
                }
            }
    EXPECT_EQ(mismatches, 0);
}

using Case = std::tuple<PLOX_IPL_BAYER_PATTERN, DemosaicMethod, std::pair<long, long>>;

class DemosaicCase : public ::testing::TestWithParam<Case> {
protected:
    PLOX_IPL_BAYER_PATTERN pattern() const { return std::get<0>(GetParam()); }
    DemosaicMethod method() const { return std::get<1>(GetParam()); }
    long width() const { return std::get<2>(GetParam()).first; }
    long height() const { return std::get<2>(GetParam()).second; }
};

class BilinearCase : public DemosaicCase {};

TEST_P(BilinearCase, EightBitMatchesReferenceWithAndWithoutSimd) {
    const auto m = random_mosaic<std::uint8_t>(width(), height(), 255, 1);
    expect_matches_reference(m, pattern(), 255);
    SimdOff off;
    expect_matches_reference(m, pattern(), 255);
}

TEST_P(BilinearCase, SixteenBitMatchesReferenceWithAndWithoutSimd) {
    for (std::uint32_t top : {4095u, 65535u}) {
        const auto m = random_mosaic<std::uint16_t>(width(), height(), top, 2);
        expect_matches_reference(m, pattern(), top);
        SimdOff off;
        expect_matches_reference(m, pattern(), top);
    }
}

TEST_P(BilinearCase, ClampsValuesAboveMaxValue) {
    const auto m = random_mosaic<std::uint16_t>(width(), height(), 65535, 3);
    expect_matches_reference(m, pattern(), 1000);
    const auto m8 = random_mosaic<std::uint8_t>(width(), height(), 255, 4);
    expect_matches_reference(m8, pattern(), 200);
}

TEST_P(DemosaicCase, OutputStaysWithinMaxValue) {
    const auto m16 = random_mosaic<std::uint16_t>(width(), height(), 65535, 3);
    const auto simd16 = run(m16, pattern(), method(), 1000, kRGBa);
    for (std::uint16_t v : simd16) ASSERT_LE(v, 1000);
    const auto m8 = random_mosaic<std::uint8_t>(width(), height(), 255, 4);
    const auto simd8 = run(m8, pattern(), method(), 200, kRGB);
    for (std::uint8_t v : simd8) ASSERT_LE(v, 200);
    SimdOff off;
    EXPECT_EQ(run(m16, pattern(), method(), 1000, kRGBa), simd16);
    EXPECT_EQ(run(m8, pattern(), method(), 200, kRGB), simd8);
}

TEST_P(DemosaicCase, SimdAndScalarGiveTheSameBytesInEveryLayout) {
    const auto m8 = random_mosaic<std::uint8_t>(width(), height(), 255, 5);
    const auto m10 = random_mosaic<std::uint16_t>(width(), height(), 1023, 6);
    const auto m16 = random_mosaic<std::uint16_t>(width(), height(), 65535, 6);
    for (const ChannelLayout& layout : {kRGB, kBGR, kRGBa, kBGRa}) {
        const auto simd8 = run(m8, pattern(), method(), 255, layout);
        const auto simd10 = run(m10, pattern(), method(), 1023, layout);
        const auto simd16 = run(m16, pattern(), method(), 65535, layout);
        SimdOff off;
        EXPECT_EQ(simd8, run(m8, pattern(), method(), 255, layout));
        EXPECT_EQ(simd10, run(m10, pattern(), method(), 1023, layout));
        EXPECT_EQ(simd16, run(m16, pattern(), method(), 65535, layout));
    }
}

// Vector widths differ between targets, and so do the lane shuffles of the SIMD stages.
TEST_P(DemosaicCase, EveryCpuTargetGivesTheScalarBytes) {
    const auto m8 = random_mosaic<std::uint8_t>(width(), height(), 255, 9);
    const auto m12 = random_mosaic<std::uint16_t>(width(), height(), 4095, 10);
    std::vector<std::uint8_t> scalar8;
    std::vector<std::uint16_t> scalar12;
    {
        SimdOff off;
        scalar8 = run(m8, pattern(), method(), 255, kRGB);
        scalar12 = run(m12, pattern(), method(), 4095, kBGRa);
    }
    for (const std::int64_t target : cpu_targets()) {
        OnlyTarget only(target);
        EXPECT_EQ(run(m8, pattern(), method(), 255, kRGB), scalar8) << hwy::TargetName(target);
        EXPECT_EQ(run(m12, pattern(), method(), 4095, kBGRa), scalar12) << hwy::TargetName(target);
    }
}

TEST_P(DemosaicCase, LayoutsReorderTheSameColours) {
    const auto m = random_mosaic<std::uint8_t>(width(), height(), 255, 7);
    const auto rgb = run(m, pattern(), method(), 255, kRGB);
    for (const ChannelLayout& layout : {kBGR, kRGBa, kBGRa, ChannelLayout{1, 2, 0, -1}, ChannelLayout{3, 0, 1, 2}}) {
        const auto out = run(m, pattern(), method(), 255, layout);
        const int n = layout.has_alpha() ? 4 : 3;
        for (std::size_t i = 0; i < rgb.size() / 3; ++i) {
            ASSERT_EQ(out[i * n + layout.red], rgb[i * 3 + 0]) << "pixel " << i;
            ASSERT_EQ(out[i * n + layout.green], rgb[i * 3 + 1]) << "pixel " << i;
            ASSERT_EQ(out[i * n + layout.blue], rgb[i * 3 + 2]) << "pixel " << i;
            if (layout.alpha >= 0) {
                ASSERT_EQ(out[i * n + layout.alpha], 255) << "pixel " << i;
            }
        }
    }
}

TEST_P(DemosaicCase, BandsGiveTheSameImageAsOneCall) {
    const auto m = random_mosaic<std::uint8_t>(width(), height(), 255, 8);
    const auto whole = run(m, pattern(), method(), 255, kBGRa);
    for (long band_rows : {1L, 2L, 3L, 7L}) EXPECT_EQ(run(m, pattern(), method(), 255, kBGRa, band_rows), whole);
}

TEST_P(DemosaicCase, UniformGreyStaysGreyUpToTheBorder) {
    const auto check = [&] {
        Mosaic<std::uint8_t> m8{width(), height(), std::vector<std::uint8_t>(width() * height(), 117)};
        for (std::uint8_t v : run(m8, pattern(), method(), 255, kRGB)) ASSERT_EQ(v, 117);
        Mosaic<std::uint16_t> m16{width(), height(), std::vector<std::uint16_t>(width() * height(), 3001)};
        for (std::uint16_t v : run(m16, pattern(), method(), 4095, kRGB)) ASSERT_EQ(v, 3001);
    };
    check();
    SimdOff off;
    check();
}

std::string case_name(const ::testing::TestParamInfo<Case>& info) {
    static const char* const kNames[] = {"", "", "GR", "RG", "GB", "BG"};
    const auto size = std::get<2>(info.param);
    return std::string(kNames[std::get<0>(info.param)]) +
           (std::get<1>(info.param) == DemosaicMethod::bilinear ? "_bilinear_" : "_directional_") +
           std::to_string(size.first) + "x" + std::to_string(size.second);
}

// Small and odd sizes reach the mirrored borders from both sides; the wide ones run SIMD steps,
// including a final step that overlaps the one before; the widest is split into column tiles.
constexpr std::pair<long, long> kSizes[] = {{2, 2}, {3, 5}, {7, 3}, {37, 4}, {70, 9}, {131, 6}, {737, 5}, {4401, 3}};

INSTANTIATE_TEST_SUITE_P(Demosaic, DemosaicCase,
                         ::testing::Combine(::testing::ValuesIn(kPatterns),
                                            ::testing::Values(DemosaicMethod::bilinear, DemosaicMethod::directional),
                                            ::testing::ValuesIn(kSizes)),
                         case_name);

INSTANTIATE_TEST_SUITE_P(Demosaic, BilinearCase,
                         ::testing::Combine(::testing::ValuesIn(kPatterns), ::testing::Values(DemosaicMethod::bilinear),
                                            ::testing::ValuesIn(kSizes)),
                         case_name);

// Grey stripes along one direction: the directional method interpolates along them and gives the
// image back exactly (up to the mirrored border, which repeats the stripes); bilinear blurs them.
template <class T>
Mosaic<T> stripes(long width, long height, bool along_rows, std::uint32_t top, unsigned seed) {
    std::mt19937 rng(seed);
    std::vector<T> levels(along_rows ? height : width);
    for (T& v : levels) v = static_cast<T>(rng() % (top + 1));
    Mosaic<T> m{width, height, std::vector<T>(width * height)};
    for (long y = 0; y < height; ++y)
        for (long x = 0; x < width; ++x) m.pixels[y * width + x] = levels[along_rows ? y : x];
    return m;
}

template <class T>
long stripe_errors(const Mosaic<T>& m, DemosaicMethod method, std::uint32_t max_value) {
    long errors = 0;
    for (const auto p : kPatterns) {
        const auto out = run(m, p, method, max_value, kRGB);
        for (long i = 0; i < m.width * m.height; ++i)
            for (int k = 0; k < 3; ++k) errors += out[i * 3 + k] != m.pixels[i];
    }
    return errors;
}

TEST(Demosaic, DirectionalGivesGreyStripesBackExactly) {
    for (const bool along_rows : {true, false}) {
        const auto m8 = stripes<std::uint8_t>(67, 41, along_rows, 255, 11);
        const auto m12 = stripes<std::uint16_t>(67, 41, along_rows, 4095, 12);
        EXPECT_EQ(stripe_errors(m8, DemosaicMethod::directional, 255), 0) << along_rows;
        EXPECT_EQ(stripe_errors(m12, DemosaicMethod::directional, 4095), 0) << along_rows;
        EXPECT_GT(stripe_errors(m8, DemosaicMethod::bilinear, 255), 1000) << along_rows;
        SimdOff off;
        EXPECT_EQ(stripe_errors(m8, DemosaicMethod::directional, 255), 0) << along_rows;
    }
}

// 8-bit data reaches the 16-bit kernel in the generic chain (Bayer8 to RGB12, say): the same
// values as the fused 8-bit path.
TEST(Demosaic, DirectionalSixteenBitKernelGivesTheEightBitValuesFor8BitData) {
    for (const auto p : kPatterns) {
        const auto m8 = random_mosaic<std::uint8_t>(97, 23, 255, 13);
        const Mosaic<std::uint16_t> m16{m8.width, m8.height, {m8.pixels.begin(), m8.pixels.end()}};
        const auto out8 = run(m8, p, DemosaicMethod::directional, 255, kRGBa);
        const auto out16 = run(m16, p, DemosaicMethod::directional, 255, kRGBa);
        ASSERT_TRUE(std::equal(out8.begin(), out8.end(), out16.begin(), out16.end())) << p;
    }
}

TEST(Demosaic, WidthOneAndHeightOneStayInBoundsAndGrey) {
    for (const auto method : {DemosaicMethod::bilinear, DemosaicMethod::directional})
        for (const auto p : kPatterns)
            for (const auto& size : {std::pair{1L, 1L}, std::pair{1L, 6L}, std::pair{5L, 1L}}) {
                Mosaic<std::uint8_t> m{size.first, size.second, std::vector<std::uint8_t>(size.first * size.second, 9)};
                for (std::uint8_t v : run(m, p, method, 255, kRGBa)) ASSERT_TRUE(v == 9 || v == 255);
            }
}

}  // namespace
