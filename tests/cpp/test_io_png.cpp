#include <gtest/gtest.h>
#include <png.h>
#include <zlib.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "lib/core/error.h"
#include "lib/io/png.h"

using namespace plox::ipl::lib;

namespace {

using Bytes = std::vector<std::uint8_t>;

// libpng itself, without our code, as the independent writer and reader of reference files.
void append(png_structp png, png_bytep data, size_t n) {
    auto* out = static_cast<Bytes*>(png_get_io_ptr(png));
    out->insert(out->end(), data, data + n);
}

struct Layout {
    png_uint_32 width, height;
    int depth, colour;
    bool interlaced;
    std::vector<png_color> palette;
    Bytes trns;
    int sbit;
};

bool libpng_write(const Layout& f, const Bytes& rows, Bytes* out) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    if (setjmp(png_jmpbuf(png))) return png_destroy_write_struct(&png, &info), false;
    png_set_write_fn(png, out, append, nullptr);
    png_set_IHDR(png, info, f.width, f.height, f.depth, f.colour, f.interlaced ? PNG_INTERLACE_ADAM7 : 0, 0, 0);
    if (!f.palette.empty()) png_set_PLTE(png, info, f.palette.data(), static_cast<int>(f.palette.size()));
    if (!f.trns.empty()) png_set_tRNS(png, info, f.trns.data(), static_cast<int>(f.trns.size()), nullptr);
    png_color_8 sig{};
    sig.red = sig.green = sig.blue = sig.gray = static_cast<png_byte>(f.sbit);
    if (f.sbit != 0) png_set_sBIT(png, info, &sig);
    png_write_info(png, info);
    const size_t stride = png_get_rowbytes(png, info);
    for (int pass = png_set_interlace_handling(png); pass > 0; --pass)
        for (png_uint_32 y = 0; y < f.height; ++y) png_write_row(png, rows.data() + y * stride);
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return true;
}

struct Raw {
    const Bytes* file;
    size_t position;
    int sbit;
    Bytes rows;  // as stored: big-endian, no sBIT shift
};

bool libpng_read_raw(Raw* raw) {
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    if (setjmp(png_jmpbuf(png))) return png_destroy_read_struct(&png, &info, nullptr), false;
    png_set_read_fn(png, raw, [](png_structp p, png_bytep out, size_t n) {
        auto* r = static_cast<Raw*>(png_get_io_ptr(p));
        if (n > r->file->size() - r->position) png_error(p, "short");
        std::memcpy(out, r->file->data() + r->position, n), r->position += n;
    });
    png_read_info(png, info);
    png_color_8p sig = nullptr;
    raw->sbit = png_get_sBIT(png, info, &sig) != 0 ? std::max(sig->gray, sig->red) : 0;
    const size_t stride = png_get_rowbytes(png, info);
    raw->rows.resize(stride * png_get_image_height(png, info));
    for (png_uint_32 y = 0; y < png_get_image_height(png, info); ++y)
        png_read_row(png, raw->rows.data() + y * stride, nullptr);
    png_destroy_read_struct(&png, &info, nullptr);
    return true;
}

// Runs f, which must throw Error with this code and a text containing `words`.
template <class F>
void expect_error(F f, PLOX_IPL_RETURN_CODE code, const char* words = "") {
    try {
        f();
        ADD_FAILURE() << "no error";
    } catch (const Error& e) {
        EXPECT_EQ(e.code(), code) << e.what();
        EXPECT_NE(std::string(e.what()).find(words), std::string::npos) << e.what();
    }
}

Bytes bytes_of(const Encoded& e) { return Bytes(e.data.get(), e.data.get() + e.size); }
Bytes bytes_of(const Raster& r) {
    return Bytes(r.pixels.get(), r.pixels.get() + r.width * r.height * r.channels * r.bits / 8);
}

// Rows drawn from a few random rows with sparse noise, so deflate finds matches across rows.
Bytes test_image(size_t width, size_t height, unsigned channels, unsigned bits, unsigned sbits) {
    std::mt19937 rng(width * 31 + height + channels + sbits);
    const size_t samples = width * channels, mask = (1u << sbits) - 1;
    std::vector<unsigned> base(7 * samples);
    for (unsigned& v : base) v = rng();
    Bytes out(samples * height * bits / 8);
    for (size_t y = 0, i = 0; y < height; ++y)
        for (size_t s = 0; s < samples; ++s, ++i) {
            const unsigned v = (base[(y * 5 % 7) * samples + s] ^ (rng() % 8 == 0 ? rng() : 0)) & mask;
            if (bits == 8) out[i] = static_cast<std::uint8_t>(v);
            else out[2 * i] = static_cast<std::uint8_t>(v), out[2 * i + 1] = static_cast<std::uint8_t>(v >> 8);
        }
    return out;
}

struct Trip {
    size_t width, height;
    unsigned channels, bits, sbits, quality;
};

class PngRoundTrip : public ::testing::TestWithParam<Trip> {};

TEST_P(PngRoundTrip, GivesTheSamplesBackAndStoresThemFullRange) {
    const Trip t = GetParam();
    const Bytes pixels = test_image(t.width, t.height, t.channels, t.bits, t.sbits);
    const Bytes file =
        bytes_of(encode_png({pixels.data(), t.width, t.height, t.channels, t.bits, t.sbits}, t.quality));
    const Raster back = decode_png(file.data(), file.size());
    EXPECT_EQ(back.width, t.width);
    EXPECT_EQ(back.height, t.height);
    EXPECT_EQ(back.channels, t.channels);
    EXPECT_EQ(back.bits, t.bits);
    EXPECT_EQ(back.significant_bits, t.sbits);
    EXPECT_EQ(bytes_of(back), pixels);

    Raw raw{&file, 0, 0, {}};
    ASSERT_TRUE(libpng_read_raw(&raw));
    ASSERT_EQ(raw.rows.size(), pixels.size());
    EXPECT_EQ(raw.sbit, t.bits == 16 ? int(t.sbits) : 0);
    for (size_t i = 0; t.bits == 16 && i < pixels.size(); i += 2) {
        const unsigned v = pixels[i] | pixels[i + 1] << 8, b = t.sbits;
        const unsigned full = (v << (16 - b) | v >> (2 * b - 16)) & 0xFFFF;
        ASSERT_EQ(raw.rows[i] << 8 | raw.rows[i + 1], full) << "sample " << i / 2 << " = " << v;
    }
}

INSTANTIATE_TEST_SUITE_P(Rasters, PngRoundTrip,
                         ::testing::Values(Trip{37, 23, 1, 8, 8, 100}, Trip{37, 23, 3, 8, 8, 100},
                                           Trip{37, 23, 4, 8, 8, 100}, Trip{200, 1500, 3, 8, 8, 100},
                                           Trip{61, 17, 1, 16, 10, 100}, Trip{61, 17, 3, 16, 12, 100},
                                           Trip{61, 17, 4, 16, 16, 100}, Trip{300, 700, 1, 16, 12, 100},
                                           Trip{64, 64, 3, 8, 8, 0}, Trip{64, 64, 3, 8, 8, 40},
                                           Trip{64, 64, 3, 8, 8, 80}),
                         [](const auto& info) {
                             const Trip& t = info.param;
                             return "w" + std::to_string(t.width) + "h" + std::to_string(t.height) + "c" +
                                    std::to_string(t.channels) + "b" + std::to_string(t.bits) + "s" +
                                    std::to_string(t.sbits) + "q" + std::to_string(t.quality);
                         });

TEST(PngEncode, ScalesTwelveBitExtremesToTheFullWordRange) {
    const std::uint8_t pixels[] = {0xFF, 0x0F, 0x00, 0x08, 0x00, 0x00};  // 4095, 2048, 0
    const Bytes file = bytes_of(encode_png({pixels, 3, 1, 1, 16, 12}, 100));
    Raw raw{&file, 0, 0, {}};
    ASSERT_TRUE(libpng_read_raw(&raw));
    EXPECT_EQ(raw.rows, (Bytes{0xFF, 0xFF, 0x80, 0x08, 0x00, 0x00}));
    EXPECT_EQ(raw.sbit, 12);
}

TEST(PngEncode, RefusesQualityAbove100) {
    const std::uint8_t pixel = 0;
    expect_error([&] { encode_png({&pixel, 1, 1, 1, 8, 8}, 101); }, PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "quality");
}

// Files of other writers: stored samples in, what the decoder must give out.
struct Foreign {
    const char* name;
    Layout layout;
    Bytes stored, expected;
    unsigned channels, bits, sbits;
};

class PngForeign : public ::testing::TestWithParam<Foreign> {};

TEST_P(PngForeign, DecodesToExpandedSamples) {
    const Foreign& f = GetParam();
    Bytes file;
    ASSERT_TRUE(libpng_write(f.layout, f.stored, &file));
    const Raster r = decode_png(file.data(), file.size());
    EXPECT_EQ(r.width, f.layout.width);
    EXPECT_EQ(r.channels, f.channels);
    EXPECT_EQ(r.bits, f.bits);
    EXPECT_EQ(r.significant_bits, f.sbits);
    EXPECT_EQ(bytes_of(r), f.expected);
}

const std::vector<png_color> kPalette = {{10, 20, 30}, {40, 50, 60}, {70, 80, 90}};
const Bytes kRgb7x3 = test_image(7, 3, 3, 8, 8);

INSTANTIATE_TEST_SUITE_P(
    Files, PngForeign,
    ::testing::Values(
        Foreign{"grey1", {4, 1, 1, 0, false, {}, {}, 0}, {0xA0}, {255, 0, 255, 0}, 1, 8, 8},
        Foreign{"grey2", {4, 1, 2, 0, false, {}, {}, 0}, {0x1B}, {0, 85, 170, 255}, 1, 8, 8},
        Foreign{"grey4", {3, 1, 4, 0, false, {}, {}, 0}, {0x0F, 0x50}, {0, 255, 85}, 1, 8, 8},
        Foreign{"palette", {3, 1, 8, 3, false, kPalette, {}, 0}, {2, 0, 1},
                {70, 80, 90, 10, 20, 30, 40, 50, 60}, 3, 8, 8},
        Foreign{"palette2_trns", {3, 1, 2, 3, false, kPalette, {0, 128}, 0}, {0x18},
                {10, 20, 30, 0, 40, 50, 60, 128, 70, 80, 90, 255}, 4, 8, 8},
        Foreign{"grey16_sbit10", {2, 1, 16, 0, false, {}, {}, 10}, {0xFF, 0xC0, 0x80, 0x20},
                {0xFF, 0x03, 0x00, 0x02}, 1, 16, 10},  // 1023 and 512 replicated to 16 bits
        Foreign{"grey_alpha16", {1, 1, 16, 4, false, {}, {}, 0}, {0x12, 0x34, 0xAB, 0xCD},
                {0x34, 0x12, 0xCD, 0xAB}, 2, 16, 16},
        Foreign{"rgb_interlaced", {7, 3, 8, 2, true, {}, {}, 0}, kRgb7x3, kRgb7x3, 3, 8, 8}),
    [](const auto& info) { return std::string(info.param.name); });

Bytes reference_file() {
    const Bytes pixels = test_image(40, 30, 3, 8, 8);
    return bytes_of(encode_png({pixels.data(), 40, 30, 3, 8, 8}, 100));
}

TEST(PngDecode, RefusesEveryTruncation) {
    const Bytes file = reference_file();
    for (size_t cut = 0; cut < file.size(); cut += cut < 100 ? 1 : 7) {
        SCOPED_TRACE(cut);
        expect_error([&] { decode_png(file.data(), cut); }, PLOX_IPL_RETURN_CODE_IO_ERROR);
    }
}

// Rewrites chunk CRCs after IHDR so mutations get past the checksum into the decoder proper.
void fix_crcs(Bytes& f) {
    for (size_t at = 33; at + 12 <= f.size();) {
        const size_t length = size_t{f[at]} << 24 | f[at + 1] << 16 | f[at + 2] << 8 | f[at + 3];
        if (length > f.size() - at - 12) return;
        const uLong crc = crc32(0, f.data() + at + 4, static_cast<uInt>(length + 4));
        for (int i = 0; i < 4; ++i) f[at + 8 + length + i] = static_cast<std::uint8_t>(crc >> (24 - 8 * i));
        at += length + 12;
    }
}

TEST(PngDecode, SurvivesMutationsWithErrorOrImage) {
    const Bytes file = reference_file();
    std::mt19937 rng(7);
    for (int round = 0; round < 400; ++round) {
        Bytes f = file;
        for (int n = 1 + round % 3; n > 0; --n) f[8 + rng() % (f.size() - 8)] = static_cast<std::uint8_t>(rng());
        if (round % 2 == 0) fix_crcs(f);
        try {
            const Raster r = decode_png(f.data(), f.size());
            EXPECT_EQ(r.width * r.height, 1200u);
        } catch (const Error& e) {
            EXPECT_EQ(e.code(), PLOX_IPL_RETURN_CODE_IO_ERROR);
        }
    }
}

struct Forged {
    std::uint32_t width, height;
    const char* refusal;
};

class PngForgedHeader : public ::testing::TestWithParam<Forged> {};

TEST_P(PngForgedHeader, IsRefusedBeforeAllocating) {
    Bytes f = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 0, 0, 13, 'I', 'H', 'D', 'R'};
    for (std::uint32_t v : {GetParam().width, GetParam().height})
        for (int i = 0; i < 4; ++i) f.push_back(static_cast<std::uint8_t>(v >> (24 - 8 * i)));
    f.insert(f.end(), {16, 6, 0, 0, 0, 0, 0, 0, 0});  // RGBA 16-bit, CRC follows
    const uLong crc = crc32(0, f.data() + 12, 17);
    for (int i = 0; i < 4; ++i) f[29 + i] = static_cast<std::uint8_t>(crc >> (24 - 8 * i));
    f.insert(f.end(), {0, 0, 0, 2, 'I', 'D', 'A', 'T', 0x78, 0x9C, 0, 0, 0, 0});  // then data would follow
    expect_error([&] { decode_png(f.data(), f.size()); }, PLOX_IPL_RETURN_CODE_IO_ERROR, GetParam().refusal);
}

INSTANTIATE_TEST_SUITE_P(Dimensions, PngForgedHeader,
                         ::testing::Values(Forged{100000, 100000, "too large"}, Forged{0x7FFFFFFF, 1, "too large"},
                                           Forged{1, 0x7FFFFFFF, "too large"}, Forged{23171, 23171, "too large"},
                                           Forged{23170, 23170, "too short"}, Forged{2000, 200, "too short"}));

}  // namespace
