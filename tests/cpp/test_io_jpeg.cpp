// JPEG files: smooth pictures come back close, channel counts hold, bad qualities and damaged or
// forged files are refused.
#include <gtest/gtest.h>
#include <turbojpeg.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "lib/core/error.h"
#include "lib/io/jpeg.h"

namespace plox::ipl::lib {
namespace {

using Bytes = std::vector<std::uint8_t>;

// Gradients in different directions per channel, so a swapped or misplaced channel shows.
Bytes smooth(std::size_t width, std::size_t height, unsigned channels) {
    Bytes out(width * height * channels);
    for (std::size_t y = 0; y < height; ++y)
        for (std::size_t x = 0; x < width; ++x)
            for (unsigned c = 0; c < channels; ++c) {
                const std::size_t v = c == 0 ? 3 * x : c == 1 ? 4 * y : c == 2 ? 2 * (x + y) : 77;
                out[(y * width + x) * channels + c] = static_cast<std::uint8_t>(v);
            }
    return out;
}

Bytes to_bytes(const Encoded& e) { return Bytes(e.data.get(), e.data.get() + e.size); }

struct Case {
    unsigned channels;
    std::size_t width, height;
};

class JpegRoundTrip : public ::testing::TestWithParam<Case> {};

TEST_P(JpegRoundTrip, SmoothPictureComesBackClose) {
    const auto [channels, width, height] = GetParam();
    const Bytes source = smooth(width, height, channels);
    const Encoded file = encode_jpeg({source.data(), width, height, channels, 8, 8}, 95);
    const Raster back = decode_jpeg(file.data.get(), file.size);
    ASSERT_EQ(back.width, width);
    ASSERT_EQ(back.height, height);
    const unsigned colour = channels == 1 ? 1 : 3;  // alpha is not stored
    ASSERT_EQ(back.channels, colour);
    double total = 0;
    int worst = 0;
    for (std::size_t i = 0; i < width * height; ++i)
        for (unsigned c = 0; c < colour; ++c) {
            const int d = std::abs(back.pixels.get()[i * colour + c] - source[i * channels + c]);
            total += d;
            worst = std::max(worst, d);
        }
    EXPECT_LT(total / double(width * height * colour), 1.0);
    EXPECT_LE(worst, 6);
}

INSTANTIATE_TEST_SUITE_P(Shapes, JpegRoundTrip,
                         ::testing::Values(Case{1, 64, 48}, Case{1, 61, 45}, Case{3, 64, 48}, Case{3, 61, 45},
                                           Case{4, 33, 17}),
                         [](const auto& info) {
                             const Case& c = info.param;
                             return "C" + std::to_string(c.channels) + "_" + std::to_string(c.width) + "x" +
                                    std::to_string(c.height);
                         });

TEST(JpegEncode, RefusesQualityOutsideOneToHundred) {
    const Bytes source = smooth(8, 8, 3);
    for (std::uint32_t quality : {0u, 101u}) {
        try {
            encode_jpeg({source.data(), 8, 8, 3, 8, 8}, quality);
            ADD_FAILURE() << "quality " << quality << " accepted";
        } catch (const Error& e) {
            EXPECT_EQ(e.code(), PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
            EXPECT_NE(std::string(e.what()).find(std::to_string(quality)), std::string::npos) << e.what();
        }
    }
    for (std::uint32_t quality : {1u, 100u}) EXPECT_GT(encode_jpeg({source.data(), 8, 8, 3, 8, 8}, quality).size, 0u);
}

Bytes valid_file() {
    const Bytes source = smooth(40, 24, 3);
    return to_bytes(encode_jpeg({source.data(), 40, 24, 3, 8, 8}, 90));
}

TEST(JpegDecode, TruncatedFilesAreRefused) {
    const Bytes file = valid_file();
    // Truncated streams decode with warnings only; those count as damage.
    for (std::size_t cut = 0; cut < file.size(); ++cut) EXPECT_THROW(decode_jpeg(file.data(), cut), Error) << cut;
}

TEST(JpegDecode, MutatedFilesDecodeOrThrow) {
    const Bytes file = valid_file();
    std::mt19937 rng(7);
    for (int i = 0; i < 300; ++i) {
        Bytes damaged = file;
        const int changes = 1 + static_cast<int>(rng() % 4);
        for (int k = 0; k < changes; ++k) damaged[rng() % damaged.size()] = static_cast<std::uint8_t>(rng());
        try {
            const Raster r = decode_jpeg(damaged.data(), damaged.size());
            EXPECT_TRUE(r.channels == 1 || r.channels == 3);
        } catch (const Error&) {
            // a failure must not leave anything behind that spoils the next file
            EXPECT_EQ(decode_jpeg(file.data(), file.size()).width, 40u) << "after mutation " << i;
        }
    }
}

struct Forged {
    const char* name;
    int flags;           // how TurboJPEG writes the file before its size is forged
    std::uint8_t frame;  // SOF marker
    unsigned side;
};

class JpegForgedSize : public ::testing::TestWithParam<Forged> {};

// Sides patched into a small file's frame header must be refused from the header alone: a
// progressive frame makes libjpeg hold every coefficient too, so it is refused at a smaller side.
TEST_P(JpegForgedSize, IsRefusedBeforeDecoding) {
    const Forged& c = GetParam();
    const Bytes source = smooth(40, 24, 3);
    tjhandle tj = tjInitCompress();
    unsigned char* out = nullptr;
    unsigned long size = 0;
    ASSERT_EQ(tjCompress2(tj, source.data(), 40, 0, 24, TJPF_RGB, &out, &size, TJSAMP_420, 90, c.flags), 0);
    Bytes file(out, out + size);
    tjFree(out);
    tjDestroy(tj);
    std::size_t sof = 0;
    while (sof + 9 < file.size() && !(file[sof] == 0xFF && file[sof + 1] == c.frame)) ++sof;
    ASSERT_LT(sof + 9, file.size());
    for (std::size_t i = sof + 5; i < sof + 9; i += 2)  // height, then width, big-endian
        file[i] = static_cast<std::uint8_t>(c.side >> 8), file[i + 1] = static_cast<std::uint8_t>(c.side);
    try {
        decode_jpeg(file.data(), file.size());
        ADD_FAILURE() << "decoded";
    } catch (const Error& e) {
        EXPECT_EQ(e.code(), PLOX_IPL_RETURN_CODE_IO_ERROR);
        const std::string text = e.what(), side = std::to_string(c.side);
        EXPECT_NE(text.find(side + "x" + side), std::string::npos) << text;
        EXPECT_NE(text.find("limit"), std::string::npos) << text;
    }
}

INSTANTIATE_TEST_SUITE_P(Frames, JpegForgedSize,
                         ::testing::Values(Forged{"Baseline", 0, 0xC0, 65000},
                                           Forged{"Progressive", TJFLAG_PROGRESSIVE, 0xC2, 30000}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(JpegDecode, ThreadsGetTheSamePicture) {
    const Bytes file = valid_file();
    const Raster one = decode_jpeg(file.data(), file.size());
    const Bytes expected(one.pixels.get(), one.pixels.get() + 40 * 24 * 3);
    std::vector<std::thread> threads;
    std::vector<int> mismatches(4, 0);
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            for (int i = 0; i < 50; ++i) {
                const Raster r = decode_jpeg(file.data(), file.size());
                mismatches[t] += Bytes(r.pixels.get(), r.pixels.get() + expected.size()) != expected;
            }
        });
    for (auto& th : threads) th.join();
    EXPECT_EQ(mismatches, std::vector<int>(4, 0));
}

}  // namespace
}  // namespace plox::ipl::lib
