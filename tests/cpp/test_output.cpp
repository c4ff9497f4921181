// Result images: nothing is written when an operation fails, neither into a caller's buffer that
// is too small nor into an image processed in place.
#include "lib/process/output.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <vector>

#include <umb_plox_ipl/umb_plox_ipl.h>

#include "lib/core/error.h"

using namespace plox::ipl::lib;

namespace {

const PixelFormatInfo& format(PLOX_IPL_PIXEL_FORMAT_NAME code) { return pixel_format(code); }

void fill_counting(Image& image) {
    for (std::size_t i = 0; i < image.byte_count(); ++i) image.data()[i] = static_cast<std::uint8_t>(i * 7 + 1);
}

TEST(Destination, ShortOrNullCallerBufferIsRefusedUntouched) {
    std::vector<std::uint8_t> buffer(4 * 3 * 3 - 1, 0xA5);
    try {
        Destination::caller(buffer.data(), buffer.size()).make(format(PLOX_IPL_PIXEL_FORMAT_RGB8), 4, 3);
        FAIL() << "a buffer one byte short was taken";
    } catch (const Error& e) {
        EXPECT_EQ(e.code(), PLOX_IPL_RETURN_CODE_BUFFER_TOO_SMALL);
        EXPECT_NE(std::string(e.what()).find("35"), std::string::npos) << e.what();
    }
    EXPECT_EQ(std::vector<std::uint8_t>(buffer.size(), 0xA5), buffer);
    EXPECT_THROW(Destination::caller(nullptr, 100).make(format(PLOX_IPL_PIXEL_FORMAT_RGB8), 4, 3), Error);
}

TEST(Destination, ResultsLiveWhereTheyWereAskedTo) {
    std::vector<std::uint8_t> buffer(12);
    EXPECT_EQ(Destination::caller(buffer.data(), buffer.size()).make(format(PLOX_IPL_PIXEL_FORMAT_Mono8), 4, 3)->data(),
              buffer.data());
    Buffer pooled = allocate_buffer(12);
    std::uint8_t* memory = pooled.get();
    EXPECT_EQ(Destination::pooled(std::move(pooled)).make(format(PLOX_IPL_PIXEL_FORMAT_Mono8), 4, 3)->data(), memory);
    const auto fresh = Destination::pooled(nullptr).make(format(PLOX_IPL_PIXEL_FORMAT_Mono16), 4, 3);
    EXPECT_EQ(fresh->byte_count(), 24u);
}

// The C entry points that write into a caller's buffer check it before any work.
TEST(Destination, EntryPointsLeaveAShortBufferUntouched) {
    PLOX_IPL_IMAGE_HANDLE source = nullptr;
    ASSERT_EQ(PLOX_IPL_Image_Construct(PLOX_IPL_PIXEL_FORMAT_BayerRG8, 8, 6, &source), PLOX_IPL_RETURN_CODE_SUCCESS);
    std::vector<std::uint8_t> buffer(8 * 6 * 3 - 1, 0x5A);
    PLOX_IPL_IMAGE_HANDLE result = nullptr;
    EXPECT_EQ(PLOX_IPL_Image_ConvertToBuffer(source, PLOX_IPL_PIXEL_FORMAT_RGB8, buffer.data(), buffer.size(),
                                             PLOX_IPL_CONVERSION_MODE_FAST, &result),
              PLOX_IPL_RETURN_CODE_BUFFER_TOO_SMALL);
    PLOX_IPL_IMAGE_HANDLE mono = nullptr;
    ASSERT_EQ(PLOX_IPL_Image_Construct(PLOX_IPL_PIXEL_FORMAT_Mono8, 8, 6, &mono), PLOX_IPL_RETURN_CODE_SUCCESS);
    EXPECT_EQ(PLOX_IPL_Image_ScaleInto(mono, 16, 9, buffer.data(), buffer.size(), 1, &result),
              PLOX_IPL_RETURN_CODE_BUFFER_TOO_SMALL);
    EXPECT_EQ(std::vector<std::uint8_t>(buffer.size(), 0x5A), buffer);
    EXPECT_EQ(result, nullptr);
    EXPECT_EQ(PLOX_IPL_Image_Destruct(source), PLOX_IPL_RETURN_CODE_SUCCESS);
    EXPECT_EQ(PLOX_IPL_Image_Destruct(mono), PLOX_IPL_RETURN_CODE_SUCCESS);
}

TEST(InPlace, FailingKernelLeavesTheImageAsItWas) {
    Image image(format(PLOX_IPL_PIXEL_FORMAT_BayerRG8), 6, 4);
    fill_counting(image);
    const std::vector<std::uint8_t> before(image.data(), image.data() + image.byte_count());
    EXPECT_THROW(process_in_place(image, format(PLOX_IPL_PIXEL_FORMAT_BayerGR8), 4, 6, InPlace::scratch,
                                  [](const Image&, Image& target) {
                                      std::memset(target.data(), 0, target.byte_count() / 2);
                                      throw std::runtime_error("halfway");
                                  }),
                 std::runtime_error);
    EXPECT_EQ(image.format().code, PLOX_IPL_PIXEL_FORMAT_BayerRG8);
    EXPECT_EQ(image.width(), 6u);
    EXPECT_EQ(image.height(), 4u);
    EXPECT_EQ(std::vector<std::uint8_t>(image.data(), image.data() + image.byte_count()), before);
}

TEST(InPlace, AResultOfAnotherByteCountIsRefusedBeforeTheKernelRuns) {
    Image image(format(PLOX_IPL_PIXEL_FORMAT_Mono8), 6, 4);
    bool ran = false;
    for (InPlace how : {InPlace::direct, InPlace::scratch}) {
        EXPECT_THROW(process_in_place(image, format(PLOX_IPL_PIXEL_FORMAT_Mono16), 6, 4, how,
                                      [&](const Image&, Image&) { ran = true; }),
                     Error);
    }
    EXPECT_FALSE(ran);
    EXPECT_EQ(image.format().code, PLOX_IPL_PIXEL_FORMAT_Mono8);
}

// A transposition cannot run in place: through scratch, the image takes the new sides and
// pattern, in its own memory (a caller's buffer under it sees the result).
TEST(InPlace, ScratchResultReplacesTheImageInItsOwnMemory) {
    std::vector<std::uint8_t> memory(6 * 4);
    Image image(format(PLOX_IPL_PIXEL_FORMAT_BayerRG8), 6, 4, memory.data(), memory.size());
    fill_counting(image);
    const std::vector<std::uint8_t> before = memory;
    process_in_place(image, format(PLOX_IPL_PIXEL_FORMAT_BayerGB8), 4, 6, InPlace::scratch,
                     [](const Image& source, Image& target) {
                         for (std::size_t y = 0; y < target.height(); ++y) {
                             for (std::size_t x = 0; x < target.width(); ++x) target.row(y)[x] = source.row(x)[y];
                         }
                     });
    EXPECT_EQ(image.data(), memory.data());
    EXPECT_EQ(image.format().code, PLOX_IPL_PIXEL_FORMAT_BayerGB8);
    ASSERT_EQ(image.width(), 4u);
    for (std::size_t y = 0; y < 6; ++y) {
        for (std::size_t x = 0; x < 4; ++x) EXPECT_EQ(memory[y * 4 + x], before[x * 6 + y]) << x << "," << y;
    }
}

TEST(InPlace, DirectKernelWorksOnTheImageItself) {
    Image image(format(PLOX_IPL_PIXEL_FORMAT_BayerRG8), 5, 4);
    fill_counting(image);
    const std::vector<std::uint8_t> before(image.data(), image.data() + image.byte_count());
    process_in_place(image, format(PLOX_IPL_PIXEL_FORMAT_BayerGR8), 5, 4, InPlace::direct,
                     [&](const Image& source, Image& target) {
                         EXPECT_EQ(source.data(), target.data());
                         for (std::size_t i = 0; i < target.byte_count(); ++i) target.data()[i] ^= 0xFF;
                     });
    EXPECT_EQ(image.format().code, PLOX_IPL_PIXEL_FORMAT_BayerGR8);
    for (std::size_t i = 0; i < before.size(); ++i) EXPECT_EQ(image.data()[i], before[i] ^ 0xFF);
}

}  // namespace
