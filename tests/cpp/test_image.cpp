// Image handles and class-layer semantics that Python cannot reach: timestamps in equality,
// moved-from images, stale and foreign handles.
#include <gtest/gtest.h>

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
