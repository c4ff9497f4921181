// What Python cannot reach of the histogram's C interface: null pointers, short bin lists,
// channels that do not exist and handles of another kind.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include <umb_plox_ipl/histogram.h>
#include <umb_plox_ipl/image.h>

namespace {

constexpr std::uint32_t kMono12 = 0x01100005;

TEST(HistogramCapi, TwoCallBinListAndRefusals) {
    PLOX_IPL_IMAGE_HANDLE image = nullptr;
    ASSERT_EQ(PLOX_IPL_Image_Construct(kMono12, 3, 2, &image), PLOX_IPL_RETURN_CODE_SUCCESS);
    PLOX_IPL_HISTOGRAM_HANDLE histogram = nullptr;
    EXPECT_EQ(PLOX_IPL_Histogram_Construct(image, nullptr), PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    ASSERT_EQ(PLOX_IPL_Histogram_Construct(image, &histogram), PLOX_IPL_RETURN_CODE_SUCCESS);

    size_t count = 0;
    ASSERT_EQ(PLOX_IPL_Histogram_GetBinList(histogram, 0, nullptr, &count), PLOX_IPL_RETURN_CODE_SUCCESS);
    ASSERT_EQ(count, 4096u);
    std::vector<std::uint64_t> bins(count, 7);
    size_t short_count = count - 1;
    EXPECT_EQ(PLOX_IPL_Histogram_GetBinList(histogram, 0, bins.data(), &short_count),
              PLOX_IPL_RETURN_CODE_BUFFER_TOO_SMALL);
    EXPECT_EQ(bins[0], 7u) << "a refused call wrote the list";
    ASSERT_EQ(PLOX_IPL_Histogram_GetBinList(histogram, 0, bins.data(), &count), PLOX_IPL_RETURN_CODE_SUCCESS);
    EXPECT_EQ(bins[0], 6u);  // a new image is zero-filled

    std::uint64_t value = 0;
    EXPECT_EQ(PLOX_IPL_Histogram_GetPixelSumForChannel(histogram, 1, &value), PLOX_IPL_RETURN_CODE_OUT_OF_RANGE);
    EXPECT_EQ(PLOX_IPL_Histogram_GetPixelCountForChannel(histogram, 0, nullptr),
              PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    EXPECT_EQ(PLOX_IPL_Histogram_GetBinList(histogram, 0, bins.data(), nullptr), PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    // An image handle is not a histogram handle, nor the other way round.
    EXPECT_EQ(PLOX_IPL_Histogram_Destruct(reinterpret_cast<PLOX_IPL_HISTOGRAM_HANDLE>(image)),
              PLOX_IPL_RETURN_CODE_INVALID_HANDLE);
    PLOX_IPL_HISTOGRAM_HANDLE other = nullptr;
    EXPECT_EQ(PLOX_IPL_Histogram_Construct(reinterpret_cast<PLOX_IPL_IMAGE_HANDLE>(histogram), &other),
              PLOX_IPL_RETURN_CODE_INVALID_HANDLE);

    EXPECT_EQ(PLOX_IPL_Histogram_Destruct(histogram), PLOX_IPL_RETURN_CODE_SUCCESS);
    EXPECT_EQ(PLOX_IPL_Histogram_GetNumChannels(histogram, &count), PLOX_IPL_RETURN_CODE_INVALID_HANDLE);
    EXPECT_EQ(PLOX_IPL_Image_Destruct(image), PLOX_IPL_RETURN_CODE_SUCCESS);
}

}  // namespace
