#include "gamma_correction.h"

#include <algorithm>
#include <cmath>

#include "../core/error.h"
#include "point_operation.h"
#include "support.h"

namespace plox::ipl::lib {

namespace {

bool accepts(const PixelFormatInfo& f) {
    return !f.is_packed() && !f.is_float && (f.family == Family::mono || f.is_bayer() || f.is_colour);
}

const Support kGammaSupport{"a gamma correction", accepts};

std::uint32_t gamma_value(float gamma, std::uint32_t value, std::uint32_t max) {
    // Stray bits above the significant ones are not part of the value.
    const double x = static_cast<double>(value & max) / max;
    const double y = std::floor(max * std::pow(x, 1.0 / static_cast<double>(gamma)) + 0.5);
    return static_cast<std::uint32_t>(std::min(y, static_cast<double>(max)));
}

}  // namespace

GammaCorrector::GammaCorrector() : tables_(gamma_value) {}

void GammaCorrector::set_gamma(float gamma) {
    if (!(gamma >= kMinGamma && gamma <= kMaxGamma))
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "gamma value ", gamma, " is outside ", kMinGamma, " to ",
             kMaxGamma);
    settings_.update([gamma](float& value) { value = gamma; });
}

bool GammaCorrector::supports(const PixelFormatInfo& format) noexcept { return accepts(format); }

std::shared_ptr<const LookupTable> GammaCorrector::table_for(const PixelFormatInfo& format) const {
    kGammaSupport.require(format);
    return tables_.table(settings_.get(), format.significant_bits);
}

std::shared_ptr<Image> GammaCorrector::process(const Image& source) const {
    const std::shared_ptr<const LookupTable> table = table_for(source.format());
    return map_to_new_image(source, channel_tables(source.format(), *table));
}

void GammaCorrector::process_in_place(Image& image) const {
    const std::shared_ptr<const LookupTable> table = table_for(image.format());
    map_in_place(image, channel_tables(image.format(), *table));
}

}  // namespace plox::ipl::lib
