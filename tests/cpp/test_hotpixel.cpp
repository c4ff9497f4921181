// Hot-pixel detection against a per-pixel evaluation of its rule (the candidate filter must never
// drop a pixel the rule takes), and what Python cannot reach of the C interface: the two-call list,
// null and short lists, handles of another kind.
#include "lib/process/hotpixel_detection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <random>
#include <vector>

#include <umb_plox_ipl/hotpixel_correction.h>
#include <umb_plox_ipl/image.h>

#include "lib/core/image.h"

namespace {

using plox::ipl::lib::Image;
using plox::ipl::lib::PixelPosition;

// Site index j among n sites of one colour, reflected without repeating the edge (back and forth).
std::size_t reflect(std::ptrdiff_t j, std::size_t n) {
    const auto last = static_cast<std::ptrdiff_t>(n) - 1;
    while (j < 0 || j > last) j = j < 0 ? -j : 2 * last - j;
    return static_cast<std::size_t>(j);
}

std::size_t neighbour(std::size_t i, int step, std::size_t d, std::size_t size) {
    const std::size_t phase = i % d;
    const std::size_t sites = (size - phase + d - 1) / d;
    return phase + d * reflect(static_cast<std::ptrdiff_t>(i / d) + step, sites);
}

// The first of the 5 sites of i's colour centred on i, kept inside the image.
std::size_t window(std::size_t i, std::size_t d, std::size_t size) {
    const std::size_t phase = i % d;
    const auto last_start = static_cast<std::ptrdiff_t>((size - phase + d - 1) / d) - 5;
    const std::ptrdiff_t start = std::clamp(static_cast<std::ptrdiff_t>(i / d) - 2, std::ptrdiff_t{0}, last_start);
    return phase + d * static_cast<std::size_t>(start);
}

template <class T>
std::vector<PixelPosition> reference(const Image& image, double factor) {
    const auto& format = image.format();
    const std::size_t d = format.is_bayer() ? 2 : 1;
    const std::uint32_t mask = format.max_value();
    const double unit = 1 << (format.significant_bits - 8);
    const auto at = [&](std::size_t x, std::size_t y) { return image.row<const T>(y)[x] & mask; };
    std::vector<PixelPosition> hot;
    for (std::size_t y = 0; y < image.height(); ++y) {
        for (std::size_t x = 0; x < image.width(); ++x) {
            std::vector<double> n, all;
            for (int dy = -1; dy <= 1; ++dy) {
                for (int dx = -1; dx <= 1; ++dx) {
                    if (dx != 0 || dy != 0)
                        n.push_back(at(neighbour(x, dx, d, image.width()), neighbour(y, dy, d, image.height())));
                }
            }
            const std::size_t x0 = window(x, d, image.width()), y0 = window(y, d, image.height());
            for (std::size_t wy = y0; wy < y0 + 5 * d; wy += d) {
                for (std::size_t wx = x0; wx < x0 + 5 * d; wx += d) {
                    if (wx != x || wy != y) all.push_back(at(wx, wy));
                }
            }
            std::sort(n.begin(), n.end());
            std::sort(all.begin(), all.end());
            const double v = at(x, y);
            const double noise = std::max((all[20] - all[3]) / 2.09, unit);
            bool above_adjacent = true;
            for (int dy = -1; d == 2 && dy <= 1; ++dy) {
                for (int dx = -1; dx <= 1; ++dx) {
                    if ((dx != 0 || dy != 0) &&
                        v <= at(neighbour(x, dx, 1, image.width()), neighbour(y, dy, 1, image.height())))
                        above_adjacent = false;
                }
            }
            if (v > n[7] && above_adjacent && v - (n[3] + n[4]) / 2.0 > factor * noise) hot.push_back({x, y});
        }
    }
    return hot;
}

struct Case {
    PLOX_IPL_PIXEL_FORMAT_NAME format;
    std::size_t width;
    std::size_t height;
};

class HotpixelDetection : public ::testing::TestWithParam<Case> {};

TEST_P(HotpixelDetection, MatchesTheRuleAtEveryPixel) {
    const Case c = GetParam();
    const auto& format = plox::ipl::lib::pixel_format(c.format);
    Image image(format, c.width, c.height);
    std::mt19937 rng(7);
    const std::uint32_t top = format.max_value();
    std::normal_distribution<double> noise(top / 4.0, top / 80.0);
    std::uniform_int_distribution<int> spike(0, 40);
    for (std::size_t y = 0; y < c.height; ++y) {
        for (std::size_t x = 0; x < c.width; ++x) {
            auto value = static_cast<std::uint32_t>(std::clamp(noise(rng), 0.0, double(top)));
            if (spike(rng) == 0) value = top - static_cast<std::uint32_t>(spike(rng));
            // Stray bits above the significant ones must be ignored.
            if (format.storage_bits == 16) {
                image.row<std::uint16_t>(y)[x] = static_cast<std::uint16_t>(value | (~top & 0xF000u & (x << 12)));
            } else {
                image.row<std::uint8_t>(y)[x] = static_cast<std::uint8_t>(value);
            }
        }
    }
    for (double factor : {2.0, 7.0, 14.0}) {
        const auto got = plox::ipl::lib::detect_hotpixels(image, factor);
        const auto want = format.storage_bits == 8 ? reference<std::uint8_t>(image, factor)
                                                   : reference<std::uint16_t>(image, factor);
        ASSERT_EQ(got.size(), want.size()) << "factor " << factor;
        for (std::size_t i = 0; i < got.size(); ++i) {
            EXPECT_EQ(got[i].x, want[i].x) << i;
            EXPECT_EQ(got[i].y, want[i].y) << i;
        }
        if (factor == 2.0) {
            EXPECT_GT(got.size(), c.width * c.height / 100) << "too few hits to test anything";
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, HotpixelDetection,
                         ::testing::Values(Case{PLOX_IPL_PIXEL_FORMAT_Mono8, 37, 23},
                                           Case{PLOX_IPL_PIXEL_FORMAT_Mono8, 5, 5},
                                           Case{PLOX_IPL_PIXEL_FORMAT_Mono12, 41, 9},
                                           Case{PLOX_IPL_PIXEL_FORMAT_BayerRG8, 10, 11},
                                           Case{PLOX_IPL_PIXEL_FORMAT_BayerGB8, 38, 31},
                                           Case{PLOX_IPL_PIXEL_FORMAT_BayerBG12, 29, 10}));

TEST(HotpixelCapi, TwoCallListAndRefusals) {
    PLOX_IPL_IMAGE_HANDLE image = nullptr;
    ASSERT_EQ(PLOX_IPL_Image_Construct(PLOX_IPL_PIXEL_FORMAT_Mono8, 8, 6, &image), PLOX_IPL_RETURN_CODE_SUCCESS);
    std::uint8_t* data = nullptr;
    ASSERT_EQ(PLOX_IPL_Image_GetData(image, &data), PLOX_IPL_RETURN_CODE_SUCCESS);
    data[2 * 8 + 3] = 200;
    data[4 * 8 + 6] = 250;
    PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE correction = nullptr;
    ASSERT_EQ(PLOX_IPL_HotpixelCorrection_Construct(&correction), PLOX_IPL_RETURN_CODE_SUCCESS);

    size_t count = 99;
    ASSERT_EQ(PLOX_IPL_HotpixelCorrection_GetDetectedHotpixels(correction, nullptr, &count),
              PLOX_IPL_RETURN_CODE_SUCCESS);
    EXPECT_EQ(count, 0u) << "nothing detected yet";
    ASSERT_EQ(PLOX_IPL_HotpixelCorrection_Detect(correction, image), PLOX_IPL_RETURN_CODE_SUCCESS);
    ASSERT_EQ(PLOX_IPL_HotpixelCorrection_GetDetectedHotpixels(correction, nullptr, &count),
              PLOX_IPL_RETURN_CODE_SUCCESS);
    ASSERT_EQ(count, 2u);
    std::vector<PLOX_IPL_POINT_2D> points(2, PLOX_IPL_POINT_2D{77, 77});
    size_t short_count = 1;
    EXPECT_EQ(PLOX_IPL_HotpixelCorrection_GetDetectedHotpixels(correction, points.data(), &short_count),
              PLOX_IPL_RETURN_CODE_BUFFER_TOO_SMALL);
    EXPECT_EQ(points[0].x, 77u) << "a refused call wrote the list";
    ASSERT_EQ(PLOX_IPL_HotpixelCorrection_GetDetectedHotpixels(correction, points.data(), &count),
              PLOX_IPL_RETURN_CODE_SUCCESS);
    EXPECT_EQ(points[0].x, 3u);
    EXPECT_EQ(points[0].y, 2u);
    EXPECT_EQ(points[1].x, 6u);
    EXPECT_EQ(points[1].y, 4u);
    EXPECT_EQ(PLOX_IPL_HotpixelCorrection_GetDetectedHotpixels(correction, points.data(), nullptr),
              PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);

    EXPECT_EQ(PLOX_IPL_HotpixelCorrection_CorrectInPlace(correction, image, nullptr, 1),
              PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    EXPECT_EQ(PLOX_IPL_HotpixelCorrection_CorrectInPlace(correction, image, nullptr, 0), PLOX_IPL_RETURN_CODE_SUCCESS);
    EXPECT_EQ(data[2 * 8 + 3], 200);
    PLOX_IPL_IMAGE_HANDLE output = nullptr;
    EXPECT_EQ(PLOX_IPL_HotpixelCorrection_Correct(correction, image, points.data(), 2, nullptr),
              PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    EXPECT_EQ(PLOX_IPL_HotpixelCorrection_CorrectAdaptive(correction, image, nullptr),
              PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    EXPECT_EQ(PLOX_IPL_HotpixelCorrection_GetSensitivity(correction, nullptr), PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    EXPECT_EQ(PLOX_IPL_HotpixelCorrection_SetSensitivity(correction, 6), PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    EXPECT_EQ(PLOX_IPL_HotpixelCorrection_SetGainFactorPercent(correction, 0), PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    ASSERT_EQ(PLOX_IPL_HotpixelCorrection_Correct(correction, image, points.data(), 2, &output),
              PLOX_IPL_RETURN_CODE_SUCCESS);
    EXPECT_EQ(PLOX_IPL_Image_Destruct(output), PLOX_IPL_RETURN_CODE_SUCCESS);

    // An image handle is not a hot-pixel correction handle, nor the other way round.
    EXPECT_EQ(PLOX_IPL_HotpixelCorrection_Destruct(reinterpret_cast<PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE>(image)),
              PLOX_IPL_RETURN_CODE_INVALID_HANDLE);
    EXPECT_EQ(PLOX_IPL_HotpixelCorrection_Detect(correction, reinterpret_cast<PLOX_IPL_IMAGE_HANDLE>(correction)),
              PLOX_IPL_RETURN_CODE_INVALID_HANDLE);
    EXPECT_EQ(PLOX_IPL_HotpixelCorrection_Destruct(correction), PLOX_IPL_RETURN_CODE_SUCCESS);
    EXPECT_EQ(PLOX_IPL_HotpixelCorrection_GetSensitivity(correction, nullptr), PLOX_IPL_RETURN_CODE_INVALID_HANDLE);
    EXPECT_EQ(PLOX_IPL_Image_Destruct(image), PLOX_IPL_RETURN_CODE_SUCCESS);
}

}  // namespace
