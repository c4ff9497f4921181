// The strip runner: every target row in exactly one strip whatever the threads and alignment,
// halo rows mirrored at both borders, the same bytes for every thread count.
#include "lib/core/strip_runner.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <random>
#include <tuple>
#include <vector>

#include "lib/core/error.h"
#include "lib/core/settings.h"

using namespace plox::ipl::lib;

namespace {

// Sets the library's thread count for one test and puts the old one back.
class ThreadCount {
public:
    explicit ThreadCount(std::size_t threads) : old_(Settings::instance().max_concurrent_threads()) {
        Settings::instance().set_max_concurrent_threads(threads);
    }
    ~ThreadCount() { Settings::instance().set_max_concurrent_threads(old_); }

private:
    std::size_t old_;
};

// Reflection about the first and last rows, step by step: -1 is row 1, height is row height - 2.
long reflect(long y, long height) {
    if (height == 1) return 0;
    while (y < 0 || y >= height) y = y < 0 ? -y : 2 * (height - 1) - y;
    return y;
}

const PixelFormatInfo& mono16() { return pixel_format(PLOX_IPL_PIXEL_FORMAT_Mono16); }

// Each row holds its own index in every pixel.
Image numbered_rows(std::size_t width, std::size_t height) {
    Image image(mono16(), width, height);
    for (std::size_t y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < width; ++x) image.row<std::uint16_t>(y)[x] = static_cast<std::uint16_t>(y);
    }
    return image;
}

// Enough pixels for several strips of 64 Kpixel, and a height that no alignment divides.
constexpr std::size_t kWidth = 1024, kHeight = 517;

class Strips : public ::testing::TestWithParam<std::tuple<std::size_t, std::size_t>> {};

TEST_P(Strips, CoverEveryRowOnceOnAlignedBoundaries) {
    const auto [threads, alignment] = GetParam();
    const ThreadCount count(threads);
    const Image image = numbered_rows(kWidth, kHeight);
    std::vector<std::atomic<int>> visits(kHeight);
    std::mutex mutex;
    std::vector<std::size_t> starts;
    run_strips<std::uint16_t, std::uint16_t>(image, image, {alignment, 0}, [&](const auto& strip) {
        {
            std::lock_guard lock(mutex);
            starts.push_back(strip.first());
        }
        for (std::size_t y = strip.first(); y < strip.end(); ++y) ++visits[y];
    });
    for (std::size_t y = 0; y < kHeight; ++y) ASSERT_EQ(visits[y].load(), 1) << "row " << y;
    for (std::size_t first : starts) EXPECT_EQ(first % alignment, 0u) << "strip at row " << first;
    if (threads > 1) {
        EXPECT_GT(starts.size(), 1u) << "the image should have been split";
    }
}

TEST_P(Strips, GiveTheSameBytesForEveryThreadCount) {
    const auto [threads, alignment] = GetParam();
    std::mt19937 rng(5);
    Image source(mono16(), kWidth, kHeight);
    for (std::size_t y = 0; y < kHeight; ++y) {
        for (std::size_t x = 0; x < kWidth; ++x) source.row<std::uint16_t>(y)[x] = static_cast<std::uint16_t>(rng());
    }
    // A vertical 1-2-1 filter over mirrored rows, against a plain loop on one thread.
    Image expected(mono16(), kWidth, kHeight);
    for (long y = 0; y < static_cast<long>(kHeight); ++y) {
        for (std::size_t x = 0; x < kWidth; ++x) {
            const auto at = [&](long row) { return source.row<std::uint16_t>(reflect(row, kHeight))[x]; };
            expected.row<std::uint16_t>(y)[x] = static_cast<std::uint16_t>((at(y - 1) + 2 * at(y) + at(y + 1) + 2) / 4);
        }
    }
    const ThreadCount count(threads);
    Image result(mono16(), kWidth, kHeight);
    run_strips<std::uint16_t, std::uint16_t>(source, result, {alignment, 1}, [](const auto& strip) {
        for (std::size_t y = strip.first(); y < strip.end(); ++y) {
            const auto row = static_cast<std::ptrdiff_t>(y);
            const std::uint16_t *up = strip.source(row - 1), *mid = strip.source(row), *down = strip.source(row + 1);
            for (std::size_t x = 0; x < strip.width(); ++x)
                strip.target(y)[x] = static_cast<std::uint16_t>((up[x] + 2 * mid[x] + down[x] + 2) / 4);
        }
    });
    EXPECT_EQ(std::memcmp(result.data(), expected.data(), expected.byte_count()), 0);
}

INSTANTIATE_TEST_SUITE_P(ThreadsAndAlignments, Strips,
                         ::testing::Combine(::testing::Values(1, 2, 3, 8), ::testing::Values(1, 2, 4, 3)));

class Halo : public ::testing::TestWithParam<std::tuple<std::size_t, std::size_t>> {};

TEST_P(Halo, RowsBeyondTheImageAreItsMirroredNeighbours) {
    const auto [height, halo] = GetParam();
    const ThreadCount count(4);
    // Wide enough for several strips when the image is tall.
    const Image image = numbered_rows(height > 100 ? 2048 : 3, height);
    std::atomic<int> wrong{0};
    std::atomic<std::size_t> strips{0};
    Image target(mono16(), image.width(), height);
    run_strips<std::uint16_t, std::uint16_t>(image, target, {1, halo}, [&](const auto& strip) {
        ++strips;
        EXPECT_EQ(strip.halo(), halo);
        const long first = static_cast<long>(strip.first()) - static_cast<long>(halo);
        for (long y = first; y < static_cast<long>(strip.end() + halo); ++y) {
            if (strip.source(y)[0] != reflect(y, static_cast<long>(height))) ++wrong;
        }
    });
    EXPECT_EQ(wrong.load(), 0);
    if (height > 100) {
        EXPECT_GT(strips.load(), 1u);
    }
}

INSTANTIATE_TEST_SUITE_P(HeightsAndHalos, Halo,
                         ::testing::Combine(::testing::Values(1, 2, 3, 5, 300), ::testing::Values(1, 2, 3)));

TEST(StripRunner, RefusesHaloRowsInPlace) {
    Image image(mono16(), 4, 4);
    EXPECT_THROW((run_strips<std::uint16_t, std::uint16_t>(image, image, {1, 1}, [](const auto&) {})), Error);
}

}  // namespace
