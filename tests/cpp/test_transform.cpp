// Row reversal against a pixel-by-pixel reference for every pixel size and length, with SIMD on
// and off; the C entry points of the transformer and the pixel line where Python cannot reach.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include <umb_plox_ipl/umb_plox_ipl.h>

#include "ipl/ImageTransformer.h"
#include "ipl/PixelLine.h"
#include "lib/core/handle_registry.h"
#include "lib/core/settings.h"
#include "lib/process/reverse_pixels.h"

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
