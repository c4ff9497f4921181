// Packed streams against a bit-by-bit reference read off the memory layout, with SIMD on and off.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <tuple>
#include <vector>

#include "lib/convert/packing.h"
#include "lib/core/settings.h"

namespace plox::ipl::lib {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Values = std::vector<std::uint16_t>;

// Restores the SIMD switch when a test ends, failed or not.
struct SimdSetting {
    bool saved = Settings::instance().simd_enabled();
    explicit SimdSetting(bool on) { Settings::instance().set_simd_enabled(on); }
    ~SimdSetting() { Settings::instance().set_simd_enabled(saved); }
};

std::size_t values_per_group(const PixelFormatInfo& f) { return f.packing == Packing::word32 ? 3 : f.group_pixels; }

// The stream bit that holds bit b of value i.
std::size_t bit_of(const PixelFormatInfo& f, std::size_t i, unsigned b) {
    switch (f.packing) {
        case Packing::lsb_stream: return i * f.significant_bits + b;
        case Packing::word32: return i / 3 * 32 + i % 3 * 10 + b;
        case Packing::none: return i * f.storage_bits + b;
        case Packing::msb_grouped: {
            // one byte of high bits per pixel, then one byte of low-bit pairs (10) or nibbles (12)
            const unsigned low = f.significant_bits - 8;
            const std::size_t n = f.group_pixels, group = i / n * (n + 1) * 8, k = i % n;
            return b >= low ? group + 8 * k + (b - low) : group + 8 * n + low * k + b;
        }
    }
    return 0;
}

Values reference_unpack(const PixelFormatInfo& f, const Bytes& stream, std::size_t count) {
    Values out(count, 0);
    for (std::size_t i = 0; i < count; ++i)
        for (unsigned b = 0; b < f.significant_bits; ++b) {
            const std::size_t at = bit_of(f, i, b);
            out[i] = static_cast<std::uint16_t>(out[i] | ((stream[at / 8] >> (at % 8)) & 1) << b);
        }
    return out;
}

Bytes reference_pack(const PixelFormatInfo& f, const Values& values) {
    Bytes stream(f.storage_size(values.size() / f.channels), 0);
    for (std::size_t i = 0; i < values.size(); ++i)
        for (unsigned b = 0; b < f.significant_bits; ++b) {
            const std::size_t at = bit_of(f, i, b);
            if (values[i] >> b & 1) stream[at / 8] = static_cast<std::uint8_t>(stream[at / 8] | 1 << (at % 8));
        }
    return stream;
}

Values random_values(const PixelFormatInfo& f, std::size_t count, std::mt19937& rng) {
    Values v(count);
    for (auto& x : v) x = static_cast<std::uint16_t>(rng() & f.max_value());
    return v;
}

Bytes random_bytes(std::size_t count, std::mt19937& rng) {
    Bytes b(count);
    for (auto& x : b) x = static_cast<std::uint8_t>(rng());
    return b;
}

Values unpack(const PixelFormatInfo& f, const Bytes& s, std::size_t first, std::size_t count) {
    Values out(count);
    unpack_values(f, s.data(), first, count, out.data());
    return out;
}

Bytes unpack8(const PixelFormatInfo& f, const Bytes& s, std::size_t first, std::size_t count) {
    Bytes out(count);
    unpack_values_to_8(f, s.data(), first, count, out.data());
    return out;
}

const PLOX_IPL_PIXEL_FORMAT_NAME kFormats[] = {
    PLOX_IPL_PIXEL_FORMAT_Mono10p,         PLOX_IPL_PIXEL_FORMAT_BayerRG12p, PLOX_IPL_PIXEL_FORMAT_BayerGB10g40UMB,
    PLOX_IPL_PIXEL_FORMAT_Mono12g24UMB,    PLOX_IPL_PIXEL_FORMAT_RGB10p32,   PLOX_IPL_PIXEL_FORMAT_Mono12,
    PLOX_IPL_PIXEL_FORMAT_Mono8,
};

std::string format_name(const testing::TestParamInfo<PLOX_IPL_PIXEL_FORMAT_NAME>& info) {
    return pixel_format(info.param).name;
}

// One group of each layout, bytes worked out by hand from the layout.
TEST(Packing, KnownGroups) {
    const Values ten = {0x123, 0x2CD, 0x0AB, 0x3F0}, twelve = {0xABC, 0x123};
    const std::tuple<PLOX_IPL_PIXEL_FORMAT_NAME, Values, Bytes> cases[] = {
        {PLOX_IPL_PIXEL_FORMAT_Mono10p, ten, {0x23, 0x35, 0xBB, 0x0A, 0xFC}},
        {PLOX_IPL_PIXEL_FORMAT_Mono12p, twelve, {0xBC, 0x3A, 0x12}},
        {PLOX_IPL_PIXEL_FORMAT_Mono10g40UMB, ten, {0x48, 0xB3, 0x2A, 0xFC, 0x37}},
        {PLOX_IPL_PIXEL_FORMAT_Mono12g24UMB, twelve, {0xAB, 0x12, 0x3C}},
        {PLOX_IPL_PIXEL_FORMAT_BGR10p32, {0x123, 0x2CD, 0x0AB}, {0x23, 0x35, 0xBB, 0x0A}},
        {PLOX_IPL_PIXEL_FORMAT_Mono12, twelve, {0xBC, 0x0A, 0x23, 0x01}},
    };
    for (const auto& [code, values, bytes] : cases) {
        const PixelFormatInfo& f = pixel_format(code);
        SCOPED_TRACE(f.name);
        EXPECT_EQ(reference_pack(f, values), bytes);  // the reference agrees with the hand-made bytes
        EXPECT_EQ(unpack(f, bytes, 0, values.size()), values);
        Bytes packed(bytes.size(), 0);
        pack_values(f, values.data(), 0, values.size(), packed.data());
        EXPECT_EQ(packed, bytes);
    }
}

// A stream ends with the byte of the last bit that a value owns; a camera sends no more.
TEST(Packing, StorageEndsWithTheLastBitOfTheLastValue) {
    for (const PixelFormatInfo& f : all_pixel_formats()) {
        if (!f.is_packed()) continue;
        for (std::size_t pixels : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 9u, 17u, 18u, 4097u, 1000003u}) {
            SCOPED_TRACE(testing::Message() << f.name << ", " << pixels << " pixels");
            std::size_t end = 0;
            for (std::size_t i = pixels * f.channels; i-- > 0 && i + f.channels * 8 >= pixels * f.channels;)
                for (unsigned b = 0; b < f.significant_bits; ++b) end = std::max(end, bit_of(f, i, b) / 8 + 1);
            EXPECT_EQ(f.storage_size(pixels), end);
        }
    }
}

class PackingFormat : public testing::TestWithParam<PLOX_IPL_PIXEL_FORMAT_NAME> {};

// Odd lengths put the SIMD bulk between scalar ends of every size; both paths must match the reference.
TEST_P(PackingFormat, RandomStreamsMatchReference) {
    const PixelFormatInfo& f = pixel_format(GetParam());
    std::mt19937 rng(7);
    for (std::size_t pixels : {1u, 3u, 7u, 33u, 97u, 255u, 1001u, 4099u}) {
        const std::size_t n = pixels * f.channels;
        const Bytes stream = random_bytes(f.storage_size(pixels), rng);
        const Values expected = reference_unpack(f, stream, n);
        Bytes expected8(n);
        for (std::size_t i = 0; i < n; ++i)
            expected8[i] = static_cast<std::uint8_t>(expected[i] >> (f.significant_bits - 8));
        for (bool simd : {false, true}) {
            SCOPED_TRACE(testing::Message() << pixels << " pixels, SIMD " << simd);
            const SimdSetting setting(simd);
            EXPECT_EQ(unpack(f, stream, 0, n), expected);
            EXPECT_EQ(unpack8(f, stream, 0, n), expected8);
        }
    }
}

TEST_P(PackingFormat, PackThenUnpackIsIdentity) {
    const PixelFormatInfo& f = pixel_format(GetParam());
    std::mt19937 rng(11);
    for (std::size_t pixels : {1u, 5u, 63u, 130u, 1027u}) {
        const Values values = random_values(f, pixels * f.channels, rng);
        for (bool simd : {false, true}) {
            SCOPED_TRACE(testing::Message() << pixels << " pixels, SIMD " << simd);
            const SimdSetting setting(simd);
            Values noisy = values;  // bits above the value's width must not leak into the stream
            for (auto& v : noisy) v = static_cast<std::uint16_t>(v | (rng() & ~f.max_value()));
            Bytes stream(f.storage_size(pixels), 0);
            pack_values(f, noisy.data(), 0, values.size(), stream.data());
            EXPECT_EQ(stream, reference_pack(f, values));
            EXPECT_EQ(unpack(f, stream, 0, values.size()), values);
        }
    }
}

// Streams of every length end inside a group somewhere: nothing past their last byte may be
// read (the unpacked values do not change with the bytes behind) or written.
TEST_P(PackingFormat, StaysWithinTheStream) {
    const PixelFormatInfo& f = pixel_format(GetParam());
    constexpr std::size_t kGuard = 64;
    std::mt19937 rng(13);
    for (std::size_t pixels = 1; pixels < 600; pixels += pixels < 40 ? 1 : 37) {
        const std::size_t n = pixels * f.channels, bytes = f.storage_size(pixels);
        const Values values = random_values(f, n, rng);
        Bytes stream = reference_pack(f, values);
        for (bool simd : {false, true}) {
            SCOPED_TRACE(testing::Message() << pixels << " pixels, SIMD " << simd);
            const SimdSetting setting(simd);
            for (std::uint8_t fill : {0x00, 0xFF}) {
                Bytes guarded = stream;
                guarded.resize(bytes + kGuard, fill);
                EXPECT_EQ(unpack(f, guarded, 0, n), values);
                pack_values(f, values.data(), 0, n, guarded.data());
                EXPECT_EQ(Bytes(guarded.begin(), guarded.begin() + static_cast<std::ptrdiff_t>(bytes)), stream);
                EXPECT_EQ(Bytes(guarded.begin() + static_cast<std::ptrdiff_t>(bytes), guarded.end()),
                          Bytes(kGuard, fill));
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, PackingFormat, testing::ValuesIn(kFormats), format_name);

// A run starting `head` values into a group and ending `tail` values into another (or the same).
using RunCase = std::tuple<PLOX_IPL_PIXEL_FORMAT_NAME, unsigned, unsigned>;
class PackingRun : public testing::TestWithParam<RunCase> {};

std::vector<RunCase> run_cases() {
    std::vector<RunCase> cases;
    for (auto code : kFormats) {
        const unsigned group = static_cast<unsigned>(values_per_group(pixel_format(code)));
        for (unsigned head = 0; head < group; ++head)
            for (unsigned tail = 0; tail < group; ++tail) cases.emplace_back(code, head, tail);
    }
    return cases;
}

TEST_P(PackingRun, LeavesNeighboursIntact) {
    const auto [code, head, tail] = GetParam();
    const PixelFormatInfo& f = pixel_format(code);
    const std::size_t group = values_per_group(f);
    std::mt19937 rng(head * 5 + tail);
    const std::size_t n = 260 * group;
    const Values old_values = random_values(f, n, rng);
    const Bytes old_stream = reference_pack(f, old_values);
    // a long run (SIMD bulk and scalar ends) and, where they fit, a run inside one group
    std::vector<std::pair<std::size_t, std::size_t>> runs = {{3 * group + head, 251 * group + tail}};
    if (head < tail) runs.emplace_back(5 * group + head, 5 * group + tail);
    for (const auto& [first, end] : runs)
        for (bool simd : {false, true}) {
            SCOPED_TRACE(testing::Message() << "values " << first << ".." << end << ", SIMD " << simd);
            const SimdSetting setting(simd);
            const Values fresh = random_values(f, end - first, rng);
            Values merged = old_values;
            std::copy(fresh.begin(), fresh.end(), merged.begin() + static_cast<std::ptrdiff_t>(first));
            Bytes stream = old_stream;
            pack_values(f, fresh.data(), first, fresh.size(), stream.data());
            EXPECT_EQ(stream, reference_pack(f, merged));
            EXPECT_EQ(unpack(f, old_stream, first, end - first),
                      Values(old_values.begin() + static_cast<std::ptrdiff_t>(first),
                             old_values.begin() + static_cast<std::ptrdiff_t>(end)));
            const Bytes narrow = unpack8(f, old_stream, first, end - first);
            for (std::size_t i = first; i < end; ++i)
                ASSERT_EQ(narrow[i - first], old_values[i] >> (f.significant_bits - 8)) << "value " << i;
        }
}

INSTANTIATE_TEST_SUITE_P(Offsets, PackingRun,
                         testing::ValuesIn(run_cases()),
                         [](const auto& info) {
                             return std::string(pixel_format(std::get<0>(info.param)).name) + "_head" +
                                    std::to_string(std::get<1>(info.param)) + "_tail" +
                                    std::to_string(std::get<2>(info.param));
                         });

}  // namespace
}  // namespace plox::ipl::lib
