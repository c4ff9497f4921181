#include "decimation.h"

#include "../core/error.h"

namespace plox::ipl::lib {

namespace {

void check_factor(const char* axis, std::uint8_t factor) {
    if (factor < Decimation::kMinFactor || factor > Decimation::kMaxFactor)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "decimation factor ", axis, " ", unsigned{factor},
             " is outside ", unsigned{Decimation::kMinFactor}, " to ", unsigned{Decimation::kMaxFactor});
}

}  // namespace

void Decimation::set_factor_x(std::uint8_t factor) {
    check_factor("x", factor);
    settings_.update([&](Values& v) { v.x = factor; });
}

void Decimation::set_factor_y(std::uint8_t factor) {
    check_factor("y", factor);
    settings_.update([&](Values& v) { v.y = factor; });
}

ReducedSize Decimation::expected_size(const PixelFormatInfo& format, std::size_t width, std::size_t height) const {
    const Values v = settings_.get();
    return reduced_size(format, width, height, {v.x, v.y}, PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT);
}

std::shared_ptr<Image> Decimation::process(const Image& source) const {
    const Values v = settings_.get();
    return reduce_blocks(source, {v.x, v.y}, BlockCombine::first);
}

}  // namespace plox::ipl::lib
