// Pixel format conversion of whole images: the plan for a pair of formats and its execution over
// row strips.
#pragma once

#include <cstdint>

#include <umb_plox_ipl/image.h>

#include "../core/image.h"
#include "../process/support.h"

namespace plox::ipl::lib {

// Throws INVALID_ARGUMENT for an unknown mode or a size the target forbids (odd widths for
// UYVY, odd sizes for YUV420), IMAGE_FORMAT_NOT_SUPPORTED for a pair that cannot be converted,
// naming both formats.
void check_conversion(const PixelFormatInfo& from, const PixelFormatInfo& to, std::size_t width, std::size_t height,
                      std::int32_t mode);

// `target` has the output format and the source's size; its timestamp becomes the source's.
void convert_into(const Image& source, Image& target, std::int32_t mode);

// Values in their own containers, integer or float: not packed bits, not YUV.
extern const Support kFactorSupport;

// Multiplies every value by `factor`, rounding (half to even) and saturating at the format's
// maximum; alpha keeps its value.
void apply_factor(Image& image, double factor);

}  // namespace plox::ipl::lib
