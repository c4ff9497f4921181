// The layout facts of the table against what each format's name says, and row access on images.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "lib/core/image.h"
#include "lib/core/pixel_format_table.h"

using namespace plox::ipl::lib;

namespace {

// Position of colour letter c among the first channels the name spells ("BGRa8": B at 0).
int position_in_name(const std::string& name, char c) {
    const std::string head = name.substr(0, 4);
    const std::size_t at = head.find(c);
    return at == std::string::npos ? -1 : static_cast<int>(at);
}

TEST(ChannelLayout, AgreesWithTheNameOfEveryFormat) {
    for (const PixelFormatInfo& f : all_pixel_formats()) {
        const std::string name = f.name;
        SCOPED_TRACE(name);
        const bool colour = name.rfind("RGB", 0) == 0 || name.rfind("BGR", 0) == 0;
        EXPECT_EQ(f.is_colour, colour);
        EXPECT_EQ(f.v_first, name.find("_VU_") != std::string::npos);
        if (!colour) {
            EXPECT_TRUE(f.layout == kNoColours);
            continue;
        }
        EXPECT_EQ(f.layout.red, position_in_name(name, 'R'));
        EXPECT_EQ(f.layout.green, position_in_name(name, 'G'));
        EXPECT_EQ(f.layout.blue, position_in_name(name, 'B'));
        EXPECT_EQ(f.layout.alpha, position_in_name(name, 'a'));
    }
}

TEST(ChannelLayout, BayerSitesFollowTheNamedCell) {
    for (const PixelFormatInfo& f : all_pixel_formats()) {
        if (!f.is_bayer()) continue;
        const std::string name = f.name;
        SCOPED_TRACE(name);
        // The name gives the top row; greens sit on a diagonal, so below a green is the colour
        // the top row lacks, and below the other colour a green.
        const std::string top = name.substr(5, 2);
        const char missing = top.find('R') == std::string::npos ? 'R' : 'B';
        const std::string bottom = {top[0] == 'G' ? missing : 'G', top[1] == 'G' ? missing : 'G'};
        const std::string cell = top + bottom;
        for (std::size_t y = 0; y < 4; ++y) {
            for (std::size_t x = 0; x < 4; ++x) {
                const char letter = cell[(y % 2) * 2 + x % 2];
                const Colour expected = letter == 'R' ? Colour::red : letter == 'G' ? Colour::green : Colour::blue;
                EXPECT_EQ(bayer_colour(f.bayer, x, y), expected) << "site " << x << "," << y;
            }
        }
    }
}

struct StrideCase {
    PLOX_IPL_PIXEL_FORMAT_NAME format;
    std::size_t width;
    std::size_t stride;  // from the memory layout: bytes per stored row
};

class RowAccess : public ::testing::TestWithParam<StrideCase> {};

TEST_P(RowAccess, RowsStartWhereTheLayoutPutsThem) {
    const StrideCase c = GetParam();
    const Image image(pixel_format(c.format), c.width, 4);
    EXPECT_EQ(image.row_stride(), c.stride);
    for (std::size_t y = 0; y < 4; ++y) EXPECT_EQ(image.row(y), image.data() + y * c.stride);
    EXPECT_EQ(reinterpret_cast<std::uint8_t*>(image.row<std::uint16_t>(3)), image.data() + 3 * c.stride);
}

INSTANTIATE_TEST_SUITE_P(
    Formats, RowAccess,
    ::testing::Values(StrideCase{PLOX_IPL_PIXEL_FORMAT_Mono8, 7, 7}, StrideCase{PLOX_IPL_PIXEL_FORMAT_Mono12, 7, 14},
                      StrideCase{PLOX_IPL_PIXEL_FORMAT_BGRa12, 5, 40}, StrideCase{PLOX_IPL_PIXEL_FORMAT_RGB8, 5, 15},
                      StrideCase{PLOX_IPL_PIXEL_FORMAT_Coord3D_ABC32f, 3, 36},
                      StrideCase{PLOX_IPL_PIXEL_FORMAT_RGB10p32, 3, 12},
                      StrideCase{PLOX_IPL_PIXEL_FORMAT_Mono12p, 6, 9}, StrideCase{PLOX_IPL_PIXEL_FORMAT_Mono10p, 8, 10},
                      StrideCase{PLOX_IPL_PIXEL_FORMAT_YUV422_8_UYVY, 6, 12},
                      StrideCase{PLOX_IPL_PIXEL_FORMAT_YUV420_8_YY_VU_SemiplanarUMB, 6, 6}));

TEST(ImageReshape, KeepsTheBytesAndRefusesAnotherByteCount) {
    Image image(pixel_format(PLOX_IPL_PIXEL_FORMAT_BayerRG8), 6, 4);
    for (std::size_t i = 0; i < image.byte_count(); ++i) image.data()[i] = static_cast<std::uint8_t>(i);
    std::uint8_t* data = image.data();
    image.reshape(pixel_format(PLOX_IPL_PIXEL_FORMAT_BayerGR8), 4, 6);
    EXPECT_EQ(image.format().code, PLOX_IPL_PIXEL_FORMAT_BayerGR8);
    EXPECT_EQ(image.width(), 4u);
    EXPECT_EQ(image.height(), 6u);
    EXPECT_EQ(image.row(1), data + 4);
    EXPECT_EQ(image.data()[23], 23);
    EXPECT_THROW(image.reshape(pixel_format(PLOX_IPL_PIXEL_FORMAT_Mono12), 4, 6), std::exception);
    EXPECT_EQ(image.format().code, PLOX_IPL_PIXEL_FORMAT_BayerGR8);
    EXPECT_EQ(image.width(), 4u);
}

}  // namespace
