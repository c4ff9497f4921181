// Lookup tables against plain per-value loops: every depth, colour and Bayer sites, alpha kept,
// stray high bits computed; the cache under a setting that changes while others read it; the
// factor of ConvertToWithFactor through its table.
#include "lib/process/lookup_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <hwy/targets.h>

#include "lib/convert/convert.h"
#include "lib/process/lookup_rows_simd.h"

using namespace plox::ipl::lib;

namespace {

// A point operation with a different curve per colour, so a table in the wrong place shows.
std::uint32_t curve(double exponent, std::uint32_t value, std::uint32_t max) {
    const double scaled = std::pow(std::min<double>(value, max) / max, exponent) * max;
    return static_cast<std::uint32_t>(std::min<double>(std::floor(scaled + 0.5), max));
}

// Random values, some with bits above the depth set (as stray data in a 16-bit container).
Image random_image(PLOX_IPL_PIXEL_FORMAT_NAME code, std::size_t width, std::size_t height, unsigned seed) {
    const PixelFormatInfo& f = pixel_format(code);
    Image image(f, width, height);
    std::mt19937 rng(seed);
    const std::size_t values = width * height * f.channels;
    for (std::size_t i = 0; i < values; ++i) {
        if (f.storage_bits == 8) {
            image.data()[i] = static_cast<std::uint8_t>(rng());
        } else {
            const auto v = static_cast<std::uint16_t>(rng() % 8 == 0 ? rng() : rng() & f.max_value());
            std::memcpy(image.data() + 2 * i, &v, 2);
        }
    }
    return image;
}

std::uint32_t value_at(const Image& image, std::size_t i) {
    if (image.format().storage_bits == 8) return image.data()[i];
    std::uint16_t v;
    std::memcpy(&v, image.data() + 2 * i, 2);
    return v;
}

// 'R', 'G', 'B' or 'a' for value i, from the name: the channel letters, or the Bayer cell.
char colour_of_value(const PixelFormatInfo& f, std::size_t i, std::size_t width) {
    const std::string name = f.name;
    if (f.is_bayer()) {
        const std::string top = name.substr(5, 2);
        const char missing = top.find('R') == std::string::npos ? 'R' : 'B';
        const std::size_t x = i % width, y = i / width;
        return y % 2 == 0 ? top[x % 2] : (top[x % 2] == 'G' ? missing : 'G');
    }
    if (name.rfind("RGB", 0) == 0 || name.rfind("BGR", 0) == 0) return name[i % f.channels];
    return 'G';
}

class Tables : public ::testing::TestWithParam<PLOX_IPL_PIXEL_FORMAT_NAME> {};

TEST_P(Tables, MatchAPlainLoopOverEveryValue) {
    const PixelFormatInfo& f = pixel_format(GetParam());
    SCOPED_TRACE(f.name);
    const unsigned bits = f.significant_bits;
    const std::uint32_t max = f.max_value();
    const auto exponent_of = [](char colour) { return colour == 'R' ? 0.45 : colour == 'G' ? 1.0 : 2.2; };
    const LookupTable red(bits, [&](std::uint32_t v) { return curve(0.45, v, max); });
    const LookupTable green(bits, [&](std::uint32_t v) { return curve(1.0, v, max); });
    const LookupTable blue(bits, [&](std::uint32_t v) { return curve(2.2, v, max); });
    const std::size_t width = 333, height = 301;  // odd sides: the last Bayer column and row too
    const Image source = random_image(GetParam(), width, height, bits);
    Image target(f, width, height);
    apply_lookup_tables(source, target, channel_tables(f, red, green, blue));
    Image in_place = random_image(GetParam(), width, height, bits);
    apply_lookup_tables(in_place, in_place, channel_tables(f, red, green, blue));
    for (std::size_t i = 0; i < width * height * f.channels; ++i) {
        const char colour = colour_of_value(f, i, width);
        const std::uint32_t in = value_at(source, i);
        const std::uint32_t expected = colour == 'a' ? in : curve(exponent_of(colour), in, max);
        ASSERT_EQ(value_at(target, i), expected) << "value " << i << " (" << colour << ") was " << in;
        ASSERT_EQ(value_at(in_place, i), expected) << "in place, value " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, Tables,
                         ::testing::Values(PLOX_IPL_PIXEL_FORMAT_Mono8, PLOX_IPL_PIXEL_FORMAT_Mono10,
                                           PLOX_IPL_PIXEL_FORMAT_Mono12, PLOX_IPL_PIXEL_FORMAT_Mono16,
                                           PLOX_IPL_PIXEL_FORMAT_BGR8, PLOX_IPL_PIXEL_FORMAT_RGBa8,
                                           PLOX_IPL_PIXEL_FORMAT_BGRa12, PLOX_IPL_PIXEL_FORMAT_BayerGR8,
                                           PLOX_IPL_PIXEL_FORMAT_BayerBG12, PLOX_IPL_PIXEL_FORMAT_Confidence16));

TEST(LookupTable, HoldsEveryValueOfItsDepth) {
    for (unsigned bits : {8u, 10u, 12u, 14u, 16u}) {
        const std::uint32_t max = (1u << bits) - 1;
        const LookupTable table(bits, [&](std::uint32_t v) { return curve(0.7, v, max); });
        EXPECT_EQ(table.max_value(), max);
        for (std::uint32_t v = 0; v <= 65535; ++v) ASSERT_EQ(table(v), curve(0.7, v, max)) << bits << " bits, " << v;
    }
}

TEST(LookupTable, RefusesFormatsWithoutIntegerContainers) {
    const LookupTable table(8, [](std::uint32_t v) { return v; });
    for (auto code : {PLOX_IPL_PIXEL_FORMAT_Mono12p, PLOX_IPL_PIXEL_FORMAT_Coord3D_C32f,
                      PLOX_IPL_PIXEL_FORMAT_YUV422_8_UYVY}) {
        Image image(pixel_format(code), 4, 2);
        EXPECT_FALSE(lookup_table_supports(image.format()));
        EXPECT_THROW(apply_lookup_tables(image, image, channel_tables(image.format(), table)), Error);
    }
}

TEST(LookupTableCache, RebuildsOnlyWhenTheSettingChanges) {
    std::atomic<int> builds{0};
    const LookupTableCache<double> cache([&](const double& exponent, std::uint32_t v, std::uint32_t max) {
        if (v == 0) ++builds;
        return curve(exponent, v, max);
    });
    const auto first = cache.table(0.5, 12);
    EXPECT_EQ(cache.table(0.5, 12), first);
    const auto eight = cache.table(0.5, 8);
    EXPECT_EQ(cache.table(0.5, 12), first) << "another depth must not drop the first table";
    EXPECT_EQ(builds.load(), 2);
    const auto changed = cache.table(2.0, 12);
    EXPECT_NE(changed, first);
    EXPECT_EQ((*changed)(1000), curve(2.0, 1000, 4095));
    EXPECT_EQ((*first)(1000), curve(0.5, 1000, 4095)) << "a table in use must stay as it was";
    EXPECT_EQ((*cache.table(0.5, 12))(1000), curve(0.5, 1000, 4095));
    EXPECT_EQ(builds.load(), 4);
}

TEST(LookupTableCache, ReadersGetTheTableOfTheirSettingWhileAnotherThreadChangesIt) {
    const LookupTableCache<double> cache(
        [](const double& exponent, std::uint32_t v, std::uint32_t max) { return curve(exponent, v, max); });
    const double settings[] = {0.4, 1.0, 1.7, 2.5};
    std::atomic<bool> stop{false};
    std::atomic<int> setting{0};
    std::thread writer([&] {
        for (int i = 0; !stop; ++i) {
            setting = i % 4;
            cache.table(settings[i % 4], 10);
        }
    });
    std::atomic<int> mismatches{0};
    std::vector<std::thread> readers;
    for (int r = 0; r < 3; ++r) {
        readers.emplace_back([&, r] {
            for (int i = 0; i < 300; ++i) {
                const double exponent = settings[(setting + r) % 4];
                const unsigned bits = i % 2 == 0 ? 10 : 12;
                const auto table = cache.table(exponent, bits);
                const std::uint32_t max = (1u << bits) - 1;
                for (std::uint32_t v = 0; v <= max; v += 7) {
                    if ((*table)(v) != curve(exponent, v, max)) ++mismatches;
                }
            }
        });
    }
    for (std::thread& t : readers) t.join();
    stop = true;
    writer.join();
    EXPECT_EQ(mismatches.load(), 0);
}

// Restricts the dispatch to one target while alive.
struct OnlyTarget {
    explicit OnlyTarget(std::int64_t target) { hwy::SetSupportedTargetsForTest(target); }
    ~OnlyTarget() { hwy::SetSupportedTargetsForTest(0); }
    OnlyTarget(const OnlyTarget&) = delete;
    OnlyTarget& operator=(const OnlyTarget&) = delete;
};

// Position classes as a Bayer row, a uniform table, RGB with a table each, RGBa with alpha copied.
class ByteRuns : public ::testing::TestWithParam<std::vector<int>> {};

TEST_P(ByteRuns, VectorPathPlusScalarTailMatchesAPlainLoopOnEveryTarget) {
    const std::vector<int>& kinds = GetParam();  // per class: which table, -1 for none
    std::vector<std::vector<std::uint8_t>> tables(3, std::vector<std::uint8_t>(256));
    std::mt19937 rng(static_cast<unsigned>(kinds.size()));
    for (auto& table : tables) {
        for (auto& v : table) v = static_cast<std::uint8_t>(rng());
    }
    std::vector<const std::uint8_t*> classes;
    for (int k : kinds) classes.push_back(k < 0 ? nullptr : tables[static_cast<std::size_t>(k)].data());
    const auto plan = byte_lookup_plan(classes.data(), static_cast<unsigned>(classes.size()));
    for (std::int64_t bits = hwy::SupportedTargets(); bits != 0; bits &= bits - 1) {
        SCOPED_TRACE(hwy::TargetName(bits & -bits));
        const OnlyTarget only(bits & -bits);
        // Every length through several vectors and every phase of a 3-byte pixel, at odd addresses.
        for (std::size_t n = 0; n < 400; ++n) {
            for (std::size_t offset : {0u, 1u}) {
                std::vector<std::uint8_t> in(offset + n), out(offset + n, 0);
                for (std::size_t i = offset; i < in.size(); ++i) in[i] = static_cast<std::uint8_t>(i * 37 + n);
                std::vector<std::uint8_t> same = in;
                const std::size_t done = map_bytes_simd(in.data() + offset, out.data() + offset, n, plan);
                ASSERT_LE(done, n);
                ASSERT_EQ(map_bytes_simd(same.data() + offset, same.data() + offset, n, plan), done);
                for (std::size_t i = 0; i < done; ++i) {
                    const std::uint8_t value = in[offset + i];
                    const std::uint8_t* table = classes[i % classes.size()];
                    const std::uint8_t expected = table != nullptr ? table[value] : value;
                    ASSERT_EQ(out[offset + i], expected) << "byte " << i << " of " << n;
                    ASSERT_EQ(same[offset + i], expected) << "in place, byte " << i << " of " << n;
                }
                for (std::size_t i = done; i < n; ++i) ASSERT_EQ(out[offset + i], 0) << "beyond the vectors: " << i;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Classes, ByteRuns,
                         ::testing::Values(std::vector<int>{0}, std::vector<int>{0, 1}, std::vector<int>{0, 0},
                                           std::vector<int>{0, 1, 2}, std::vector<int>{2, 0, 2},
                                           std::vector<int>{0, 0, 0, -1}, std::vector<int>{1, 2, 0, -1}));

// Point operations read a value by its significant bits; apply_lookup_tables computes the whole
// value, also in rows that mix clean and stray values and on the vector path's rows.
TEST(LookupTable, StrayBitsAreIgnoredOrComputedAsAsked) {
    const PixelFormatInfo& f = pixel_format(PLOX_IPL_PIXEL_FORMAT_BayerRG12);
    const LookupTable red(12, [](std::uint32_t v) { return std::min<std::uint32_t>(v * 3, 4095); });
    const LookupTable green(12, [](std::uint32_t v) { return v / 2; });
    const Image source = random_image(PLOX_IPL_PIXEL_FORMAT_BayerRG12, 71, 9, 4);
    Image ignored(f, 71, 9), computed(f, 71, 9);
    map_through_tables(source, ignored, channel_tables(f, red, green, green), StrayBits::ignored);
    map_through_tables(source, computed, channel_tables(f, red, green, green), StrayBits::computed);
    std::size_t strays = 0;
    for (std::size_t i = 0; i < 71 * 9; ++i) {
        const std::uint32_t in = value_at(source, i);
        const bool is_red = (i / 71) % 2 == 0 && (i % 71) % 2 == 0;
        const auto f_of = [&](std::uint32_t v) { return is_red ? std::min<std::uint32_t>(v * 3, 4095) : v / 2; };
        strays += in > 4095;
        ASSERT_EQ(value_at(ignored, i), f_of(in & 4095)) << "value " << i << " was " << in;
        ASSERT_EQ(value_at(computed, i), static_cast<std::uint16_t>(f_of(in))) << "value " << i << " was " << in;
    }
    EXPECT_GT(strays, 0u);
}

// ConvertToWithFactor multiplied each value in a plain loop, rounding half to even; its table
// must give the same bytes, stray high bits included.
class Factor : public ::testing::TestWithParam<std::tuple<PLOX_IPL_PIXEL_FORMAT_NAME, double>> {};

TEST_P(Factor, GivesThePlainLoopsBytes) {
    const auto [code, factor] = GetParam();
    const PixelFormatInfo& f = pixel_format(code);
    Image image = random_image(code, 64, 33, 3);
    const Image original = random_image(code, 64, 33, 3);
    apply_factor(image, factor);
    for (std::size_t i = 0; i < 64 * 33 * f.channels; ++i) {
        const std::uint32_t in = value_at(original, i);
        const bool alpha = f.layout.has_alpha() && i % f.channels == static_cast<std::size_t>(f.layout.alpha);
        const double scaled = std::min<double>(std::nearbyint(in * factor), f.max_value());
        ASSERT_EQ(value_at(image, i), alpha ? in : static_cast<std::uint32_t>(scaled)) << "value " << i << " was " << in;
    }
}

INSTANTIATE_TEST_SUITE_P(FormatsAndFactors, Factor,
                         ::testing::Combine(::testing::Values(PLOX_IPL_PIXEL_FORMAT_Mono8, PLOX_IPL_PIXEL_FORMAT_Mono12,
                                                              PLOX_IPL_PIXEL_FORMAT_BGRa8,
                                                              PLOX_IPL_PIXEL_FORMAT_RGBa10),
                                            ::testing::Values(0.5, 0.37, 1.0, 2.5)));

}  // namespace
