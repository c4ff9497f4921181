// Image handles and class-layer semantics that Python cannot reach: timestamps in equality,
// moved-from images, stale and foreign handles, packed frames that end inside a group.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include <umb_plox_ipl/umb_plox_ipl.h>

#include "ipl/Image.h"

namespace ipl = plox::ipl;

TEST(Image, EqualityComparesTimestampsAfterLayoutAndBeforeBytes) {
    ipl::Image a = ipl::Image::CreateFromSize(ipl::PixelFormatName::Mono8, 4, 3);
    ipl::Image b = a.Clone();
    EXPECT_TRUE(a == b);
    ASSERT_EQ(PLOX_IPL_Image_SetTimestamp(b.GetBackendHandle(), 123), PLOX_IPL_RETURN_CODE_SUCCESS);
    EXPECT_TRUE(a != b);
    // Derived images keep the timestamp.
    EXPECT_EQ(b.Clone().Timestamp(), 123u);
    EXPECT_EQ(b.Crop(ipl::Size2D::New(2, 2)).Timestamp(), 123u);
    EXPECT_EQ(b.Scale(ipl::Size2D::New(2, 2)).Timestamp(), 123u);
    EXPECT_EQ(b.ConvertTo(ipl::PixelFormat(ipl::PixelFormatName::Mono8)).Timestamp(), 123u);
}

TEST(Image, MovedFromImageIsEmptyAndReleasesNothingTwice) {
    ipl::Image a = ipl::Image::CreateFromSize(ipl::PixelFormatName::RGB8, 2, 2);
    const PLOX_IPL_IMAGE_HANDLE handle = a.GetBackendHandle();
    ipl::Image b(std::move(a));
    EXPECT_TRUE(a.Empty());
    EXPECT_EQ(a.GetBackendHandle(), nullptr);
    EXPECT_FALSE(b.Empty());
    EXPECT_EQ(b.GetBackendHandle(), handle);
    EXPECT_THROW(a.Width(), ipl::InvalidHandleException);
}

TEST(Image, StaleAndForeignHandlesAreRefused) {
    PLOX_IPL_IMAGE_HANDLE image = nullptr;
    ASSERT_EQ(PLOX_IPL_Image_Construct(PLOX_IPL_PIXEL_FORMAT_Mono8, 2, 2, &image), PLOX_IPL_RETURN_CODE_SUCCESS);
    PLOX_IPL_IMAGE_HANDLE reference = nullptr;
    ASSERT_EQ(PLOX_IPL_Image_AcquireReference(image, &reference), PLOX_IPL_RETURN_CODE_SUCCESS);
    ASSERT_EQ(PLOX_IPL_Image_Destruct(image), PLOX_IPL_RETURN_CODE_SUCCESS);

    size_t width = 0;
    EXPECT_EQ(PLOX_IPL_Image_GetWidth(image, &width), PLOX_IPL_RETURN_CODE_INVALID_HANDLE);
    EXPECT_EQ(PLOX_IPL_Image_Destruct(image), PLOX_IPL_RETURN_CODE_INVALID_HANDLE);
    EXPECT_EQ(PLOX_IPL_Image_GetWidth(nullptr, &width), PLOX_IPL_RETURN_CODE_INVALID_HANDLE);
    EXPECT_EQ(PLOX_IPL_Image_GetWidth(reinterpret_cast<PLOX_IPL_IMAGE_HANDLE>(&width), &width),
              PLOX_IPL_RETURN_CODE_INVALID_HANDLE);
    // The other reference still holds the image.
    EXPECT_EQ(PLOX_IPL_Image_GetWidth(reference, &width), PLOX_IPL_RETURN_CODE_SUCCESS);
    EXPECT_EQ(width, 2u);
    EXPECT_EQ(PLOX_IPL_Image_Destruct(reference), PLOX_IPL_RETURN_CODE_SUCCESS);
}

TEST(Image, NullOutPointerCreatesNoHandle) {
    EXPECT_EQ(PLOX_IPL_Image_Construct(PLOX_IPL_PIXEL_FORMAT_Mono8, 2, 2, nullptr),
              PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
}

// A frame that ends inside a packing group is written into exactly its bytes (nothing before or
// after them), its spare high bits zero. Values written by hand: 0x3FF and 0xABC, LSB first.
TEST(Image, PackedTargetEndingInsideAGroupKeepsToItsBytes) {
    struct Case {
        ipl::PixelFormatName format;
        uint16_t wide;  // a Mono16 value whose top bits give the packed one
        std::vector<uint8_t> bytes;
    };
    const Case cases[] = {
        {ipl::PixelFormatName::Mono10p, 0xFFC0, {0xFF, 0x03}},
        {ipl::PixelFormatName::Mono12p, 0xABC0, {0xBC, 0x0A}},
        {ipl::PixelFormatName::Mono10g40UMB, 0xFFC0, {0xFF, 0x00, 0x00, 0x00, 0x03}},
    };
    for (const Case& c : cases) {
        std::vector<uint16_t> wide = {c.wide};
        ipl::Image source = ipl::Image::CreateFromSizeAndBuffer(ipl::PixelFormatName::Mono16, wide.data(), 2, 1, 1);
        const std::size_t guard = 8, size = c.bytes.size();
        std::vector<uint8_t> memory(guard + size + guard, 0xA5);
        ipl::Image packed = source.ConvertTo(ipl::PixelFormat(c.format), memory.data() + guard, size);
        EXPECT_EQ(packed.ByteCount(), size);
        EXPECT_EQ(std::vector<uint8_t>(memory.begin(), memory.begin() + guard), std::vector<uint8_t>(guard, 0xA5));
        EXPECT_EQ(std::vector<uint8_t>(memory.begin() + guard, memory.end() - guard), c.bytes);
        EXPECT_EQ(std::vector<uint8_t>(memory.end() - guard, memory.end()), std::vector<uint8_t>(guard, 0xA5));
    }
}
