// Facts of the table that hold for every row, and storage sizes at the edges of uint64.
#include <gtest/gtest.h>

#include <cstdint>

#include "lib/core/error.h"
#include "lib/core/pixel_format_table.h"

using namespace plox::ipl::lib;

TEST(PixelFormatTable, RowsAreSelfConsistent) {
    for (const PixelFormatInfo& f : all_pixel_formats()) {
        SCOPED_TRACE(f.name);
        EXPECT_EQ(find_pixel_format(f.code), &f);
        EXPECT_LE(f.significant_bits, f.storage_bits);
        EXPECT_LE(f.significant_bits_per_pixel, f.storage_bits_per_pixel);
        EXPECT_EQ(f.is_bayer(), f.bayer != PLOX_IPL_BAYER_PATTERN_NONE);
        if (f.is_packed()) {
            EXPECT_EQ(f.channels * f.significant_bits, f.significant_bits_per_pixel);
        } else if (!f.is_yuv()) {
            EXPECT_EQ(f.storage_bits % 8, 0);
            EXPECT_EQ(f.channels * f.storage_bits, f.storage_bits_per_pixel);
        }
    }
}

TEST(PixelFormatTable, StorageSizeAtTheEdges) {
    const PixelFormatInfo& mono8 = pixel_format(PLOX_IPL_PIXEL_FORMAT_Mono8);
    EXPECT_EQ(mono8.storage_size(UINT64_MAX), UINT64_MAX);
    const PixelFormatInfo& mono10p = pixel_format(PLOX_IPL_PIXEL_FORMAT_Mono10p);
    EXPECT_EQ(mono10p.storage_size(UINT64_MAX / 5 * 4), UINT64_MAX / 5 * 5);
    try {
        mono10p.storage_size(UINT64_MAX);
        FAIL() << "10 bits per pixel of 2^64 pixels cannot fit";
    } catch (const Error& e) {
        EXPECT_EQ(e.code(), PLOX_IPL_RETURN_CODE_OUT_OF_RANGE);
    }
    // A bit stream may end inside a group, so the limit falls on a single pixel.
    const PixelFormatInfo& mono12p = pixel_format(PLOX_IPL_PIXEL_FORMAT_Mono12p);
    EXPECT_EQ(mono12p.storage_size(UINT64_MAX / 3 * 2), UINT64_MAX);
    EXPECT_THROW(mono12p.storage_size(UINT64_MAX / 3 * 2 + 1), Error);
    const PixelFormatInfo& abc = pixel_format(PLOX_IPL_PIXEL_FORMAT_Coord3D_ABC32f);
    EXPECT_THROW(abc.storage_size(UINT64_MAX / 12 + 1), Error);
    EXPECT_EQ(abc.storage_size(UINT64_MAX / 12), UINT64_MAX / 12 * 12);
}

TEST(PixelFormatTable, UnknownCodesAreRefusedByName) {
    for (std::uint32_t code : {0u, 0x01080002u, 0xFFFFFFFFu}) {
        EXPECT_EQ(find_pixel_format(code), nullptr);
        try {
            pixel_format(code);
            FAIL();
        } catch (const Error& e) {
            EXPECT_EQ(e.code(), PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
        }
    }
}
