// The vector fast paths of binning and decimation against per-pixel references, at every length
// around the vector widths (the part the kernel leaves to the caller must start where it stopped).
#include "lib/process/block_reduce_simd.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include <umb_plox_ipl/binning.h>
#include <umb_plox_ipl/decimation.h>
#include <umb_plox_ipl/library.h>

namespace {

using plox::ipl::lib::bin2x2_row_simd;
using plox::ipl::lib::decimate2_row_simd;

template <class T>
std::vector<T> random_samples(std::size_t count, std::uint32_t seed) {
    std::mt19937 rng(seed);
    std::vector<T> samples(count);
    for (T& s : samples) s = static_cast<T>(rng());
    return samples;
}

// Output sample s of a 2x2 block, for the pixels the kernel claims to have written.
template <class T>
T expected_bin(const std::vector<T>& r0, const std::vector<T>& r1, std::size_t s, unsigned channels, T max, bool sum,
               bool average_alpha) {
    const std::size_t pixel = s / channels, c = s % channels;
    const std::size_t a = 2 * pixel * channels + c, b = a + channels;
    const std::uint32_t total = (r0[a] & max) + (r0[b] & max) + (r1[a] & max) + (r1[b] & max);
    const bool average = !sum || (average_alpha && c == 3);
    return static_cast<T>(average ? (total + 2) / 4 : std::min<std::uint32_t>(total, max));
}

template <class T>
void check_bin(unsigned channels, T max, bool sum, bool average_alpha) {
    for (std::size_t pixels = 0; pixels <= 130; ++pixels) {
        const std::size_t samples = 2 * pixels * channels;
        const auto r0 = random_samples<T>(samples, 1 + static_cast<std::uint32_t>(pixels));
        const auto r1 = random_samples<T>(samples, 1000 + static_cast<std::uint32_t>(pixels));
        std::vector<T> out(pixels * channels + 1, 0x5A);
        const std::size_t done =
            bin2x2_row_simd(r0.data(), r1.data(), pixels, channels, max, sum, average_alpha, out.data());
        ASSERT_LE(done, pixels);
        if (pixels >= 128) {
            ASSERT_GT(done, 0u) << "no vector path for " << channels << " channels";
        }
        for (std::size_t s = 0; s < done * channels; ++s)
            ASSERT_EQ(out[s], expected_bin(r0, r1, s, channels, max, sum, average_alpha))
                << pixels << " pixels of " << channels << " channels, sample " << s;
        for (std::size_t s = done * channels; s < out.size(); ++s) ASSERT_EQ(out[s], T{0x5A}) << "wrote past its count";
    }
}

TEST(BlockReduceSimd, Bin2x2MatchesTheRoundedMeanAndTheSaturatedSum) {
    for (unsigned channels = 1; channels <= 4; ++channels) {
        for (bool sum : {false, true}) {
            check_bin<std::uint8_t>(channels, 255, sum, channels == 4);
            check_bin<std::uint16_t>(channels, 4095, sum, channels == 4);
            check_bin<std::uint16_t>(channels, 65535, sum, false);
        }
    }
}

TEST(BlockReduceSimd, Decimate2KeepsEveryOtherUnit) {
    for (unsigned unit : {1u, 2u, 4u, 8u}) {
        for (std::size_t units = 0; units <= 130; ++units) {
            const auto row = random_samples<std::uint8_t>(2 * units * unit, static_cast<std::uint32_t>(units));
            std::vector<std::uint8_t> out(units * unit + 1, 0x5A);
            const std::size_t done = decimate2_row_simd(row.data(), units, unit, out.data());
            ASSERT_LE(done, units);
            if (units >= 128) {
                ASSERT_GT(done, 0u) << "no vector path for " << unit << "-byte units";
            }
            for (std::size_t k = 0; k < done; ++k)
                ASSERT_EQ(std::memcmp(out.data() + k * unit, row.data() + 2 * k * unit, unit), 0)
                    << units << " units of " << unit << " bytes, unit " << k;
            for (std::size_t b = done * unit; b < out.size(); ++b) ASSERT_EQ(out[b], 0x5A) << "wrote past its count";
        }
    }
}

TEST(BlockReduceCapi, RefusesNullsForeignHandlesAndBadSettings) {
    PLOX_IPL_BINNING_HANDLE binning = nullptr;
    ASSERT_EQ(PLOX_IPL_Binning_Construct(&binning), PLOX_IPL_RETURN_CODE_SUCCESS);
    EXPECT_EQ(PLOX_IPL_Binning_GetBinningX(binning, nullptr), PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    size_t width = 0;
    EXPECT_EQ(PLOX_IPL_Binning_ExpectedOutputSize(binning, 8, 8, 0x01080001, &width, nullptr),
              PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    EXPECT_EQ(PLOX_IPL_Binning_Construct(nullptr), PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    EXPECT_EQ(PLOX_IPL_Binning_SetMode(binning, 2), PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    // A binning handle is not a decimation handle.
    std::uint8_t value = 0;
    EXPECT_EQ(PLOX_IPL_Decimation_GetDecimationX(reinterpret_cast<PLOX_IPL_DECIMATION_HANDLE>(binning), &value),
              PLOX_IPL_RETURN_CODE_INVALID_HANDLE);
    EXPECT_EQ(PLOX_IPL_Decimation_Destruct(reinterpret_cast<PLOX_IPL_DECIMATION_HANDLE>(binning)),
              PLOX_IPL_RETURN_CODE_INVALID_HANDLE);
    ASSERT_EQ(PLOX_IPL_Binning_Destruct(binning), PLOX_IPL_RETURN_CODE_SUCCESS);
    EXPECT_EQ(PLOX_IPL_Binning_Destruct(binning), PLOX_IPL_RETURN_CODE_INVALID_HANDLE);
}

}  // namespace
