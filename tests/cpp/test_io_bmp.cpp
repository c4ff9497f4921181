// BMP files: exact round trips, hand-laid files read back, damaged and forged files refused.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "lib/core/error.h"
#include "lib/io/bmp.h"

namespace plox::ipl::lib {
namespace {

using Bytes = std::vector<std::uint8_t>;

void le(Bytes& b, std::size_t at, std::uint32_t v, int n = 4) {
    for (int i = 0; i < n; ++i) b[at + i] = static_cast<std::uint8_t>(v >> (8 * i));
}

// A file laid out by hand: file header, info header of `header` bytes (alpha mask set past 40),
// palette, then `rows` as stored.
Bytes bmp_file(std::int32_t width, std::int32_t height, unsigned bits, const Bytes& palette, const Bytes& rows,
               std::uint32_t compression = 0, std::uint32_t header = 40) {
    const std::uint32_t offset = 14 + header + static_cast<std::uint32_t>(palette.size());
    Bytes b(offset);
    b[0] = 'B', b[1] = 'M';
    le(b, 2, offset + static_cast<std::uint32_t>(rows.size()));
    le(b, 10, offset);
    le(b, 14, header);
    le(b, 18, static_cast<std::uint32_t>(width));
    le(b, 22, static_cast<std::uint32_t>(height));
    le(b, 26, 1, 2);
    le(b, 28, bits, 2);
    le(b, 30, compression);
    le(b, 46, static_cast<std::uint32_t>(palette.size() / 4));
    if (header > 40) le(b, 14 + 52, 0xFF000000);
    std::copy(palette.begin(), palette.end(), b.begin() + 14 + header);
    b.insert(b.end(), rows.begin(), rows.end());
    return b;
}

Bytes pixels(const Raster& r) { return Bytes(r.pixels.get(), r.pixels.get() + r.width * r.height * r.channels); }

struct Shape {
    unsigned channels;
    std::size_t width;
};

class BmpRoundTrip : public ::testing::TestWithParam<Shape> {};

TEST_P(BmpRoundTrip, IsExactAndSizedAsLaidOut) {
    const auto [channels, width] = GetParam();
    const std::size_t height = 5;
    std::mt19937 rng(static_cast<unsigned>(width * 10 + channels));
    Bytes source(width * height * channels);
    for (auto& v : source) v = static_cast<std::uint8_t>(rng());
    const Encoded file = encode_bmp({source.data(), width, height, channels, 8, 8});

    const std::size_t headers = 14 + (channels == 4 ? 108 : 40) + (channels == 1 ? 1024 : 0);
    EXPECT_EQ(file.size, headers + (width * channels + 3) / 4 * 4 * height);
    std::uint32_t stored_size = 0;
    std::memcpy(&stored_size, file.data.get() + 2, 4);
    EXPECT_EQ(stored_size, file.size);

    const Raster back = decode_bmp(file.data.get(), file.size);
    EXPECT_EQ(back.width, width);
    EXPECT_EQ(back.height, height);
    EXPECT_EQ(back.channels, channels);
    EXPECT_EQ(pixels(back), source);
}

INSTANTIATE_TEST_SUITE_P(OddWidths, BmpRoundTrip,
                         ::testing::Values(Shape{1, 1}, Shape{1, 7}, Shape{3, 1}, Shape{3, 5}, Shape{3, 6}, Shape{4, 3},
                                           Shape{4, 9}),
                         [](const auto& info) {
                             return "C" + std::to_string(info.param.channels) + "W" + std::to_string(info.param.width);
                         });

struct HandLaid {
    const char* name;
    Bytes file;
    unsigned channels;
    Bytes expected;  // top row first
};

class BmpHandLaid : public ::testing::TestWithParam<HandLaid> {};

TEST_P(BmpHandLaid, DecodesAsLaidOut) {
    const HandLaid& c = GetParam();
    const Raster r = decode_bmp(c.file.data(), c.file.size());
    EXPECT_EQ(r.channels, c.channels);
    EXPECT_EQ(pixels(r), c.expected);
}

const Bytes kColourPalette = {0, 0, 255, 0, /**/ 0, 255, 0, 0, /**/ 255, 0, 0, 0};  // BGR0: red, green, blue
const Bytes kInvertedGreys = {255, 255, 255, 0, /**/ 0, 0, 0, 0};

INSTANTIATE_TEST_SUITE_P(
    Files, BmpHandLaid,
    ::testing::Values(
        // 2x2 top-down 24-bit: each row of 6 bytes padded to 8, first stored row on top
        HandLaid{"TopDown24", bmp_file(2, -2, 24, {}, {1, 2, 3, 4, 5, 6, 0, 0, 7, 8, 9, 10, 11, 12, 0, 0}), 3,
                 {3, 2, 1, 6, 5, 4, 9, 8, 7, 12, 11, 10}},
        // 3x2 bottom-up 8-bit with a three-colour palette, rows padded to 4 bytes
        HandLaid{"ColourPalette8", bmp_file(3, 2, 8, kColourPalette, {2, 1, 0, 0, 0, 0, 1, 0}), 3,
                 {255, 0, 0, 255, 0, 0, 0, 255, 0, 0, 0, 255, 0, 255, 0, 255, 0, 0}},
        // an inverted two-entry grey palette stays one channel and maps through the palette
        HandLaid{"GreyPalette1", bmp_file(10, 1, 1, kInvertedGreys, {0b10110000, 0b01000000, 0, 0}), 1,
                 {0, 255, 0, 0, 255, 255, 255, 255, 255, 0}},
        // 32-bit BI_RGB: the fourth byte is padding, not alpha
        HandLaid{"Plain32", bmp_file(1, 1, 32, {}, {10, 20, 30, 40}), 3, {30, 20, 10}},
        // ... unless a V5 header names it alpha
        HandLaid{"V5Alpha32", bmp_file(1, 1, 32, {}, {10, 20, 30, 40}, 0, 124), 4, {30, 20, 10, 40}}),
    [](const auto& info) { return std::string(info.param.name); });

void expect_error(const Bytes& file, PLOX_IPL_RETURN_CODE code) {
    try {
        decode_bmp(file.data(), file.size());
        ADD_FAILURE() << "decoded";
    } catch (const Error& e) {
        EXPECT_EQ(e.code(), code) << e.what();
    }
}

TEST(BmpDecode, RefusesRleAndForgedSizes) {
    expect_error(bmp_file(2, 2, 8, kInvertedGreys, Bytes(8), 1), PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED);
    expect_error(bmp_file(0x7FFFFFFF, 0x7FFFFFFF, 24, {}, Bytes(64)), PLOX_IPL_RETURN_CODE_IO_ERROR);
    expect_error(bmp_file(60000, -60000, 8, kInvertedGreys, Bytes(64)), PLOX_IPL_RETURN_CODE_IO_ERROR);
    expect_error(bmp_file(1, static_cast<std::int32_t>(0x80000000), 24, {}, Bytes(64)), PLOX_IPL_RETURN_CODE_IO_ERROR);
}

TEST(BmpDecode, DamagedFilesDecodeOrThrow) {
    Bytes source(7 * 5 * 4);
    for (std::size_t i = 0; i < source.size(); ++i) source[i] = static_cast<std::uint8_t>(i * 37);
    for (unsigned channels : {1u, 3u, 4u}) {
        const Encoded encoded = encode_bmp({source.data(), 7, 5, channels, 8, 8});
        const Bytes file(encoded.data.get(), encoded.data.get() + encoded.size);
        for (std::size_t cut = 0; cut < file.size(); ++cut)  // every cut loses pixels
            EXPECT_THROW(decode_bmp(file.data(), cut), Error) << "cut at " << cut;
        std::mt19937 rng(channels);
        for (int i = 0; i < 300; ++i) {
            Bytes damaged = file;
            for (int k = 0; k < 3; ++k) damaged[rng() % 138] = static_cast<std::uint8_t>(rng());
            try {
                const Raster r = decode_bmp(damaged.data(), damaged.size());
                EXPECT_LE(r.width * r.height * r.channels, 24 * damaged.size());  // 1-bit palette to RGB
            } catch (const Error&) {
            }
        }
    }
}

}  // namespace
}  // namespace plox::ipl::lib
