#include "binning.h"

#include "../core/error.h"

namespace plox::ipl::lib {

namespace {

void check_factor(const char* axis, std::uint8_t factor) {
    if (factor < Binning::kMinFactor || factor > Binning::kMaxFactor)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "binning factor ", axis, " ", unsigned{factor}, " is outside ",
             unsigned{Binning::kMinFactor}, " to ", unsigned{Binning::kMaxFactor});
}

}  // namespace

void Binning::set_factor_x(std::uint8_t factor) {
    check_factor("x", factor);
    settings_.update([&](Values& v) { v.x = factor; });
}

void Binning::set_factor_y(std::uint8_t factor) {
    check_factor("y", factor);
    settings_.update([&](Values& v) { v.y = factor; });
}

void Binning::set_mode(std::int32_t mode) {
    if (mode != average && mode != sum)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "binning mode ", mode, " is unknown (0: Average, 1: Sum)");
    settings_.update([&](Values& v) { v.mode = mode; });
}

ReducedSize Binning::expected_size(const PixelFormatInfo& format, std::size_t width, std::size_t height) const {
    const Values v = settings_.get();
    return reduced_size(format, width, height, {v.x, v.y}, PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
}

std::shared_ptr<Image> Binning::process(const Image& source) const {
    // One copy of the settings, so a concurrent setter cannot change them halfway.
    const Values v = settings_.get();
    return reduce_blocks(source, {v.x, v.y}, v.mode == sum ? BlockCombine::sum : BlockCombine::average);
}

}  // namespace plox::ipl::lib
