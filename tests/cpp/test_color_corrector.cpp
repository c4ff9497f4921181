// The vector colour-matrix path against the scalar one at every length around the vector widths
// (the caller finishes where the vector path stopped), and the C API's size query for the factors.
#include "lib/process/colour_matrix_rows.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include <umb_plox_ipl/color_corrector.h>

namespace {

using plox::ipl::lib::colour_matrix_row;
using plox::ipl::lib::colour_matrix_row_simd;
using plox::ipl::lib::StoredMatrix;

template <class T>
void expect_simd_equals_scalar(unsigned channels, float max, std::uint16_t mask) {
    const StoredMatrix sm{{1.2f, -0.1f, -0.05f, -0.15f, 1.1f, 0.05f, 0.0f, -0.3f, 1.35f}, max, mask, channels};
    std::mt19937 rng(channels);
    for (std::size_t pixels = 0; pixels < 80; ++pixels) {
        std::vector<T> in(pixels * channels);
        for (T& v : in) v = static_cast<T>(rng());  // stray high bits included
        std::vector<T> scalar(in.size()), vector(in.size());
        colour_matrix_row(in.data(), scalar.data(), 0, pixels, sm);
        const std::size_t done = colour_matrix_row_simd(in.data(), vector.data(), pixels, sm);
        ASSERT_LE(done, pixels);
        colour_matrix_row(in.data(), vector.data(), done, pixels, sm);
        EXPECT_EQ(vector, scalar) << pixels << " pixels of " << channels << " channels";
    }
}

TEST(ColorCorrectorKernel, VectorPathEqualsScalarPath) {
    expect_simd_equals_scalar<std::uint8_t>(3, 255.0f, 0xFF);
    expect_simd_equals_scalar<std::uint8_t>(4, 255.0f, 0xFF);
    expect_simd_equals_scalar<std::uint16_t>(3, 4095.0f, 0x0FFF);
    expect_simd_equals_scalar<std::uint16_t>(4, 1023.0f, 0x03FF);
}

TEST(ColorCorrectorCapi, FactorsAreCountedThenCopiedIntoEnoughRoom) {
    PLOX_IPL_COLOR_CORRECTOR_HANDLE corrector = nullptr;
    ASSERT_EQ(PLOX_IPL_ColorCorrector_Construct(&corrector), PLOX_IPL_RETURN_CODE_SUCCESS);
    size_t count = 0;
    ASSERT_EQ(PLOX_IPL_ColorCorrector_GetColorCorrectionFactors(corrector, nullptr, &count),
              PLOX_IPL_RETURN_CODE_SUCCESS);
    EXPECT_EQ(count, 9u);
    float factors[9] = {};
    size_t short_room = 8;
    EXPECT_EQ(PLOX_IPL_ColorCorrector_GetColorCorrectionFactors(corrector, factors, &short_room),
              PLOX_IPL_RETURN_CODE_BUFFER_TOO_SMALL);
    EXPECT_EQ(PLOX_IPL_ColorCorrector_GetColorCorrectionFactors(corrector, factors, &count),
              PLOX_IPL_RETURN_CODE_SUCCESS);
    const float identity[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    for (int k = 0; k < 9; ++k) EXPECT_EQ(factors[k], identity[k]) << k;
    EXPECT_EQ(PLOX_IPL_ColorCorrector_SetColorCorrectionFactors(corrector, nullptr),
              PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
    EXPECT_EQ(PLOX_IPL_ColorCorrector_Destruct(corrector), PLOX_IPL_RETURN_CODE_SUCCESS);
}

}  // namespace
