#include "convert.h"

#include <cmath>
#include <cstring>

#include "../core/error.h"

namespace plox::ipl::lib {

namespace {

template <class T>
void scale_values(T* values, std::size_t count, double factor, double max) {
    for (std::size_t i = 0; i < count; ++i) {
        const double scaled = std::nearbyint(static_cast<double>(values[i]) * factor);
        values[i] = static_cast<T>(scaled < 0 ? 0 : (scaled > max ? max : scaled));
    }
}

}  // namespace

void check_conversion(const PixelFormatInfo& from, const PixelFormatInfo& to, std::int32_t mode) {
    if (mode < PLOX_IPL_CONVERSION_MODE_FAST || mode > PLOX_IPL_CONVERSION_MODE_CLASSIC)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "conversion mode ", mode, " is unknown");
    if (&from != &to)
        fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, "conversion from ", from.name, " to ", to.name,
             " is not supported");
}

void convert_into(const Image& source, Image& target, std::int32_t mode) {
    check_conversion(source.format(), target.format(), mode);
    std::memcpy(target.data(), source.data(), source.byte_count());
    target.set_timestamp(source.timestamp());
}

void apply_factor(Image& image, double factor) {
    const PixelFormatInfo& format = image.format();
    if (!std::isfinite(factor) || factor < 0)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "factor ", factor, " must be finite and not negative");
    if (format.is_packed())
        fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, "a factor cannot be applied to packed ", format.name);
    const std::size_t count = image.byte_count() * 8 / format.storage_bits;
    if (format.is_float) {
        auto* values = reinterpret_cast<float*>(image.data());
        for (std::size_t i = 0; i < count; ++i) values[i] = static_cast<float>(values[i] * factor);
    } else if (format.storage_bits == 8) {
        scale_values(image.data(), count, factor, format.max_value());
    } else {
        scale_values(reinterpret_cast<std::uint16_t*>(image.data()), count, factor, format.max_value());
    }
}

}  // namespace plox::ipl::lib
