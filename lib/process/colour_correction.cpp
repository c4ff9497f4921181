#include "colour_correction.h"

#include <cmath>

#include "../core/error.h"
#include "../core/settings.h"
#include "../core/strip_runner.h"
#include "colour_matrix_rows.h"
#include "output.h"

namespace plox::ipl::lib {

namespace {

// Beyond this a factor cannot be told from infinity in a sum of products of 16-bit values.
constexpr float kMaxFactorMagnitude = 1e6f;

constexpr const char* kFactorNames[9] = {"factorRR", "factorGR", "factorBR", "factorRG", "factorGG",
                                         "factorBG", "factorRB", "factorGB", "factorBB"};

// BT.601 luma weights, as the conversions use them.
constexpr double kLuma[3] = {19595.0 / 65536.0, 38470.0 / 65536.0, 7471.0 / 65536.0};

bool colour_correctable(const PixelFormatInfo& format) {
    const ChannelLayout& l = format.layout;
    return format.is_colour && !format.is_packed() && !format.is_float && format.significant_bits <= 12 &&
           l.red >= 0 && l.red < 3 && l.green >= 0 && l.green < 3 && l.blue >= 0 && l.blue < 3;
}

// Saturation s keeps the luma L of the matrix result and scales each colour's distance from it:
// c' = L + s (c - L). As a matrix, S = s I + (1 - s) [w; w; w]; the folded matrix is S M.
std::array<double, 9> folded(const ColourMatrix& m, float saturation) {
    std::array<double, 9> result{};
    for (unsigned i = 0; i < 3; ++i) {
        for (unsigned j = 0; j < 3; ++j) {
            double sum = 0;
            for (unsigned k = 0; k < 3; ++k) {
                const double s = (i == k ? saturation : 0.0) + (1.0 - saturation) * kLuma[k];
                sum += s * m[3 * k + j];
            }
            result[3 * i + j] = sum;
        }
    }
    return result;
}

// The folded matrix in the format's stored channel order.
StoredMatrix stored_matrix(const PixelFormatInfo& format, const ColourMatrix& factors, float saturation) {
    const std::array<double, 9> rgb = folded(factors, saturation);
    const int stored[3] = {format.layout.red, format.layout.green, format.layout.blue};
    StoredMatrix sm{};
    for (unsigned i = 0; i < 3; ++i) {
        for (unsigned j = 0; j < 3; ++j) sm.m[3 * stored[i] + stored[j]] = static_cast<float>(rgb[3 * i + j]);
    }
    sm.max = static_cast<float>(format.max_value());
    sm.mask = static_cast<std::uint16_t>(format.max_value());
    sm.channels = format.channels;
    derive_fixed_point(sm);
    return sm;
}

template <class T>
void apply_rows(const Image& source, const Image& target, const StoredMatrix& sm) {
    const bool simd = Settings::instance().simd_enabled();
    run_strips<T, T>(source, target, StripPlan{}, [&](const Strip<T, T>& strip) {
        for (std::size_t y = strip.first(); y < strip.end(); ++y) {
            const T* in = strip.source(static_cast<std::ptrdiff_t>(y));
            T* out = strip.target(y);
            const std::size_t done = simd ? colour_matrix_row_simd(in, out, strip.width(), sm) : 0;
            colour_matrix_row(in, out, done, strip.width(), sm);
        }
    });
}

// Supported formats hold 8-bit samples or 16-bit containers.
void apply(const Image& source, const Image& target, const StoredMatrix& sm) {
    if (source.format().storage_bits == 8) apply_rows<std::uint8_t>(source, target, sm);
    else apply_rows<std::uint16_t>(source, target, sm);
}

}  // namespace

const Support ColourCorrection::kSupport{"a colour correction", colour_correctable};

void ColourCorrection::set_factors(const ColourMatrix& factors) {
    for (unsigned k = 0; k < 9; ++k) {
        if (!(std::fabs(factors[k]) <= kMaxFactorMagnitude))
            fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, kFactorNames[k], " ", factors[k], " is outside ",
                 -kMaxFactorMagnitude, " to ", kMaxFactorMagnitude);
    }
    settings_.update([&](Values& v) { v.factors = factors; });
}

void ColourCorrection::set_saturation(float saturation) {
    if (!(saturation >= kMinSaturation && saturation <= kMaxSaturation))
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "saturation ", saturation, " is outside ", kMinSaturation, " to ",
             kMaxSaturation);
    settings_.update([&](Values& v) { v.saturation = saturation; });
}

std::shared_ptr<Image> ColourCorrection::process(const Image& source) const {
    const PixelFormatInfo& format = source.format();
    kSupport.require(format);
    // One copy of the settings, so a concurrent setter cannot change them halfway.
    const Values v = settings_.get();
    std::shared_ptr<Image> target = Destination::fresh().make(format, source.width(), source.height());
    apply(source, *target, stored_matrix(format, v.factors, v.saturation));
    target->set_timestamp(source.timestamp());
    return target;
}

void ColourCorrection::process_in_place(Image& image) const {
    const PixelFormatInfo& format = image.format();
    kSupport.require(format);
    const Values v = settings_.get();
    // Each pixel's channels are read before any of them is written.
    lib::process_in_place(image, format, image.width(), image.height(), InPlace::direct,
                          [&](const Image& source, const Image& target) {
                              apply(source, target, stored_matrix(format, v.factors, v.saturation));
                          });
}

}  // namespace plox::ipl::lib
