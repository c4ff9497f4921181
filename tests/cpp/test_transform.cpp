// Row reversal and quarter-turn blocks against pixel-by-pixel references for every pixel size and
// length, with SIMD on and off; the C entry points of the transformer and the pixel line where
// Python cannot reach.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <random>
#include <utility>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

#include <umb_plox_ipl/umb_plox_ipl.h>

#include "ipl/ImageTransformer.h"
#include "ipl/PixelLine.h"
#include "lib/core/handle_registry.h"
#include "lib/core/settings.h"
#include "lib/process/reverse_pixels.h"
#include "lib/process/transform.h"
#include "lib/process/turn_blocks.h"

namespace plox::ipl::lib {
namespace {

using Bytes = std::vector<std::uint8_t>;

struct SimdSetting {
    bool saved = Settings::instance().simd_enabled();
    explicit SimdSetting(bool on) { Settings::instance().set_simd_enabled(on); }
    ~SimdSetting() { Settings::instance().set_simd_enabled(saved); }
};

Bytes random_bytes(std::size_t count, unsigned seed) {
    std::mt19937 rng(seed);
    Bytes bytes(count);
    for (auto& b : bytes) b = static_cast<std::uint8_t>(rng());
    return bytes;
}

Bytes reversed_reference(const Bytes& row, std::size_t pixels, std::size_t size) {
    Bytes out(pixels * size);
    for (std::size_t x = 0; x < pixels; ++x) std::memcpy(&out[x * size], &row[(pixels - 1 - x) * size], size);
    return out;
}

class ReversePixels : public testing::TestWithParam<std::tuple<std::size_t, bool>> {};

// Lengths around every vector width leave every kind of tail, in place up to the middle pixel.
TEST_P(ReversePixels, EveryLengthMatchesTheReference) {
    const auto [size, simd] = GetParam();
    const SimdSetting setting(simd);
    for (std::size_t pixels = 0; pixels <= 300; ++pixels) {
        const Bytes row = random_bytes(pixels * size + 64, static_cast<unsigned>(pixels));
        const Bytes expected = reversed_reference(row, pixels, size);
        Bytes out(pixels * size + 64, 0xA5);
        reverse_pixels(row.data(), out.data(), pixels, size);
        ASSERT_EQ(Bytes(out.begin(), out.begin() + pixels * size), expected) << pixels << " pixels";
        for (std::size_t b = pixels * size; b < out.size(); ++b) ASSERT_EQ(out[b], 0xA5) << "wrote past the row";
        Bytes in_place = row;
        reverse_pixels_in_place(in_place.data(), pixels, size);
        ASSERT_EQ(Bytes(in_place.begin(), in_place.begin() + pixels * size), expected) << pixels << " pixels in place";
        ASSERT_TRUE(std::equal(in_place.begin() + pixels * size, in_place.end(), row.begin() + pixels * size));
    }
}

INSTANTIATE_TEST_SUITE_P(PixelSizes, ReversePixels,
                         testing::Combine(testing::Values(1, 2, 3, 4, 6, 8, 12), testing::Bool()));

// Pixel (x, y) of a w x h result: the transposed source, then rows and columns mirrored.
const std::uint8_t* turned_pixel(const Bytes& source, std::size_t source_stride, std::size_t size, std::size_t w,
                                 std::size_t h, bool mirror_rows, bool mirror_columns, std::size_t x, std::size_t y) {
    const std::size_t column = mirror_rows ? h - 1 - y : y;
    const std::size_t row = mirror_columns ? w - 1 - x : x;
    return &source[row * source_stride + column * size];
}

// A copy of some bytes between two inaccessible pages, flush against one of them: a kernel that
// reads before its first row or past its last one faults instead of passing unnoticed.
class FencedBytes {
public:
    FencedBytes(const Bytes& content, bool flush_with_end)
        : page_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))),
          span_((content.size() + page_ - 1) / page_ * page_ + 2 * page_) {
        void* base = mmap(nullptr, span_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (base == MAP_FAILED) throw std::bad_alloc();
        base_ = static_cast<std::uint8_t*>(base);
        mprotect(base_, page_, PROT_NONE);
        mprotect(base_ + span_ - page_, page_, PROT_NONE);
        data_ = flush_with_end ? base_ + span_ - page_ - content.size() : base_ + page_;
        std::copy(content.begin(), content.end(), data_);
    }
    ~FencedBytes() { munmap(base_, span_); }
    FencedBytes(const FencedBytes&) = delete;
    FencedBytes& operator=(const FencedBytes&) = delete;

    const std::uint8_t* data() const { return data_; }

private:
    std::size_t page_;
    std::size_t span_;
    std::uint8_t* base_ = nullptr;
    std::uint8_t* data_ = nullptr;
};

class TurnBlocks : public testing::TestWithParam<std::tuple<std::size_t, bool, bool>> {};

// Result sides 0..300 against sides at and around the block side and the short rows that 3-byte
// blocks cannot load; result rows are padded so that a write outside the whole blocks shows.
TEST_P(TurnBlocks, WholeBlocksMatchTheReferenceAndNothingElseIsTouched) {
    const auto [size, mirror_rows, mirror_columns] = GetParam();
    std::vector<std::pair<std::size_t, std::size_t>> sides;
    for (std::size_t n = 0; n <= 300; ++n) {
        for (const std::size_t m : {1, 4, 5, 6, 7, 9, 17, 33}) {
            sides.emplace_back(n, m);
            sides.emplace_back(m, n);
        }
    }
    for (const auto& [w, h] : sides) {
        const std::size_t source_stride = h * size;
        const std::size_t result_stride = w * size + 16;
        const Bytes source = random_bytes(w * source_stride, static_cast<unsigned>(w * 1000 + h));
        for (const bool flush_with_end : {false, true}) {
            const FencedBytes fenced(source, flush_with_end);
            Bytes result(h * result_stride, 0xA5);
            const Turn turn{fenced.data(), static_cast<std::ptrdiff_t>(source_stride), result.data(),
                            static_cast<std::ptrdiff_t>(result_stride), w, h, mirror_rows, mirror_columns};
            const std::size_t side = turn_blocks(turn, size, 0, h);
            const std::size_t block_w = side == 0 ? 0 : w - w % side;
            const std::size_t block_h = side == 0 ? 0 : h - h % side;
            for (std::size_t y = 0; y < h; ++y) {
                for (std::size_t x = 0; x < result_stride / size; ++x) {
                    const std::uint8_t* got = &result[y * result_stride + x * size];
                    if (y < block_h && x < block_w) {
                        const std::uint8_t* want =
                            turned_pixel(source, source_stride, size, w, h, mirror_rows, mirror_columns, x, y);
                        ASSERT_TRUE(std::equal(got, got + size, want)) << w << "x" << h << " at " << x << "," << y;
                    } else {
                        ASSERT_TRUE(std::all_of(got, got + size, [](std::uint8_t b) { return b == 0xA5; }))
                            << w << "x" << h << " wrote outside its blocks at " << x << "," << y;
                    }
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(PixelSizesAndMirrors, TurnBlocks,
                         testing::Combine(testing::Values(1, 2, 3), testing::Bool(), testing::Bool()));

TEST(TurnBlocksSetting, SimdOffLeavesEverythingToTheCaller) {
    const SimdSetting setting(false);
    const Bytes source = random_bytes(64 * 64 * 3, 5);
    Bytes result(64 * 64 * 3, 0xA5);
    const Turn turn{source.data(), 64 * 3, result.data(), 64 * 3, 64, 64, false, false};
    for (const std::size_t size : {1, 2, 3}) EXPECT_EQ(turn_blocks(turn, size, 0, 64), 0u);
    EXPECT_EQ(result, Bytes(64 * 64 * 3, 0xA5));
}

class QuarterTurns : public testing::TestWithParam<std::tuple<std::uint32_t, bool>> {};

// The whole path: blocks and the edge tiles they leave.
TEST_P(QuarterTurns, EverySmallImageMatchesTheReference) {
    const auto [code, simd] = GetParam();
    const SimdSetting setting(simd);
    const PixelFormatInfo& format = pixel_format(code);
    const std::size_t size = format.storage_bits_per_pixel / 8;
    const Transform transforms[] = {rotation(90), rotation(270), {true, false, false}, {true, true, true}};
    for (const Transform& transform : transforms) {
        for (std::size_t sw = 1; sw <= 40; ++sw) {
            for (std::size_t sh = 1; sh <= 40; ++sh) {
                Bytes pixels = random_bytes(sw * sh * size, static_cast<unsigned>(sw * 100 + sh));
                const Image source(format, sw, sh, pixels.data(), pixels.size());
                const auto result = transformed(source, transform);
                ASSERT_EQ(result->width(), sh);
                for (std::size_t y = 0; y < sw; ++y) {
                    for (std::size_t x = 0; x < sh; ++x) {
                        const std::uint8_t* want = turned_pixel(pixels, sw * size, size, sh, sw, transform.mirror_rows,
                                                                transform.mirror_columns, x, y);
                        ASSERT_TRUE(std::equal(want, want + size, result->row(y) + x * size))
                            << sw << "x" << sh << " at " << x << "," << y;
                    }
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, QuarterTurns,
                         testing::Combine(testing::Values(PLOX_IPL_PIXEL_FORMAT_Mono8, PLOX_IPL_PIXEL_FORMAT_Mono16,
                                                          PLOX_IPL_PIXEL_FORMAT_RGB8),
                                          testing::Bool()));

PLOX_IPL_IMAGE_HANDLE mono8(std::size_t width, std::size_t height) {
    PLOX_IPL_IMAGE_HANDLE image = nullptr;
    EXPECT_EQ(PLOX_IPL_Image_Construct(PLOX_IPL_PIXEL_FORMAT_Mono8, width, height, &image), PLOX_IPL_RETURN_CODE_SUCCESS);
    return image;
}

TEST(TransformerEntries, RefuseForeignHandlesAndNullOutputs) {
    PLOX_IPL_IMAGE_HANDLE image = mono8(4, 3);
    PLOX_IPL_IMAGE_TRANSFORMER_HANDLE transformer = nullptr;
    ASSERT_EQ(PLOX_IPL_ImageTransformer_Construct(&transformer), PLOX_IPL_RETURN_CODE_SUCCESS);
    PLOX_IPL_IMAGE_HANDLE out = nullptr;
    const auto foreign = reinterpret_cast<PLOX_IPL_IMAGE_TRANSFORMER_HANDLE>(image);
    EXPECT_EQ(PLOX_IPL_ImageTransformer_MirrorUpDown(foreign, image, &out), PLOX_IPL_RETURN_CODE_INVALID_HANDLE);
    EXPECT_EQ(PLOX_IPL_ImageTransformer_RotateInPlace(foreign, image, 90), PLOX_IPL_RETURN_CODE_INVALID_HANDLE);
    EXPECT_EQ(PLOX_IPL_ImageTransformer_MirrorLeftRight(transformer, image, nullptr),
              PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    EXPECT_EQ(PLOX_IPL_ImageTransformer_Rotate(transformer, nullptr, 90, &out), PLOX_IPL_RETURN_CODE_INVALID_HANDLE);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(PLOX_IPL_ImageTransformer_Destruct(transformer), PLOX_IPL_RETURN_CODE_SUCCESS);
    EXPECT_EQ(PLOX_IPL_ImageTransformer_Destruct(transformer), PLOX_IPL_RETURN_CODE_INVALID_HANDLE);
    PLOX_IPL_Image_Destruct(image);
}

TEST(TransformerEntries, ResultsKeepTheTimestamp) {
    PLOX_IPL_IMAGE_HANDLE image = mono8(5, 3);
    ASSERT_EQ(PLOX_IPL_Image_SetTimestamp(image, 77), PLOX_IPL_RETURN_CODE_SUCCESS);
    plox::ipl::Image wrapped(image);
    const plox::ipl::ImageTransformer transformer;
    EXPECT_EQ(transformer.Rotate(wrapped, plox::ipl::ImageTransformer::RotationAngle::Degree90Clockwise).Timestamp(),
              77u);
    EXPECT_EQ(transformer.MirrorLeftRight(wrapped).Timestamp(), 77u);
    transformer.RotateInPlace(wrapped, plox::ipl::ImageTransformer::RotationAngle::Degree90Counterclockwise);
    EXPECT_EQ(wrapped.Timestamp(), 77u);
    EXPECT_EQ(wrapped.Width(), 3u);
}

TEST(PixelLineEntries, ShortBuffersAndMissingChannelsAreRefused) {
    PLOX_IPL_IMAGE_HANDLE image = mono8(6, 2);
    PLOX_IPL_PIXEL_LINE_HANDLE line = nullptr;
    ASSERT_EQ(PLOX_IPL_PixelLine_Construct(image, PLOX_IPL_ORIENTATION_HORIZONTAL, 1, &line),
              PLOX_IPL_RETURN_CODE_SUCCESS);
    std::vector<std::uint32_t> values(6, 7);
    std::size_t count = 5;
    EXPECT_EQ(PLOX_IPL_PixelLine_GetValuesForChannel(line, 0, values.data(), &count),
              PLOX_IPL_RETURN_CODE_BUFFER_TOO_SMALL);
    EXPECT_EQ(values, std::vector<std::uint32_t>(6, 7));
    EXPECT_EQ(PLOX_IPL_PixelLine_GetValuesForChannel(line, 1, nullptr, &count), PLOX_IPL_RETURN_CODE_OUT_OF_RANGE);
    EXPECT_EQ(PLOX_IPL_PixelLine_GetValuesForChannel(line, 0, nullptr, nullptr), PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    EXPECT_EQ(PLOX_IPL_PixelLine_Destruct(line), PLOX_IPL_RETURN_CODE_SUCCESS);
    PLOX_IPL_Image_Destruct(image);
}

TEST(PixelLineClasses, DeletingThroughTheBaseReleasesTheHandleOnce) {
    plox::ipl::Image image(mono8(3, 3));
    const std::size_t before = HandleRegistry::instance().size();
    std::unique_ptr<plox::ipl::PixelLine> line = std::make_unique<plox::ipl::PixelColumn>(image, 2);
    plox::ipl::PixelLine moved(std::move(*line));
    EXPECT_EQ(HandleRegistry::instance().size(), before + 1);
    EXPECT_EQ(moved.Offset(), 2u);
    line.reset();
    EXPECT_EQ(HandleRegistry::instance().size(), before + 1);
}

}  // namespace
}  // namespace plox::ipl::lib
