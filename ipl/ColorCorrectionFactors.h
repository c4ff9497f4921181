// The nine factors of a colour correction matrix, a plain value.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <limits>

namespace plox {
namespace ipl {

/**
 * \brief The factors of a 3x3 colour correction matrix, sorted row-wise.
 *
 * Row 1 (factorRR, factorGR, factorBR) holds the contributions of red, green and blue to red,
 * row 2 those to green, row 3 those to blue.
 * \since 1.0
 */
class ColorCorrectionFactors {
public:
    /**
     * \brief Creates factors from nine values in row-wise order.
     * \since 1.0
     */
    ColorCorrectionFactors(float facRR, float facGR, float facBR, float facRG, float facGG, float facBG, float facRB,
                           float facGB, float facBB)
        : factorRR(facRR), factorGR(facGR), factorBR(facBR), factorRG(facRG), factorGG(facGG), factorBG(facBG),
          factorRB(facRB), factorGB(facGB), factorBB(facBB) {}

    /**
     * \brief The Factors are initialized to zero.
     * \since 1.0
     */
    ColorCorrectionFactors() = default;

    /**
     * \brief Copies the nine factors of ``other``.
     * \since 1.0
     */
    ColorCorrectionFactors(const ColorCorrectionFactors& other) = default;

    /**
     * \brief Moves the instance from ``other`` to this. Afterwards ``other`` is invalid.
     * \since 1.0
     */
    ColorCorrectionFactors(ColorCorrectionFactors&& other) noexcept = default;

    ColorCorrectionFactors& operator=(const ColorCorrectionFactors&) = default;
    ColorCorrectionFactors& operator=(ColorCorrectionFactors&&) noexcept = default;

    /**
     * \brief True when every factor differs from the same factor of ``other`` by at most the
     * single-precision epsilon (an absolute tolerance).
     * \since 1.0
     */
    bool operator==(const ColorCorrectionFactors& other) const {
        const std::array<float, 9> a = Values();
        const std::array<float, 9> b = other.Values();
        for (std::size_t k = 0; k < a.size(); ++k) {
            if (!(std::fabs(a[k] - b[k]) <= std::numeric_limits<float>::epsilon())) return false;
        }
        return true;
    }

    float factorRR = 0.0f;  // red-red
    float factorGR = 0.0f;  // green-red
    float factorBR = 0.0f;  // blue-red
    float factorRG = 0.0f;  // red-green
    float factorGG = 0.0f;  // green-green
    float factorBG = 0.0f;  // blue-green
    float factorRB = 0.0f;  // red-blue
    float factorGB = 0.0f;  // green-blue
    float factorBB = 0.0f;  // blue-blue

private:
    std::array<float, 9> Values() const {
        return {factorRR, factorGR, factorBR, factorRG, factorGG, factorBG, factorRB, factorGB, factorBB};
    }
};

}  // namespace ipl
}  // namespace plox
