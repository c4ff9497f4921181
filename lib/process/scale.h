// Resampling to another size, through OpenCV's resize.
#pragma once

#include <cstdint>

#include "../core/image.h"

namespace plox::ipl::lib {

// Fails with IMAGE_FORMAT_NOT_SUPPORTED for Bayer, packed and YUV images (resampling would mix
// the colours of a mosaic or the bits of a packing), INVALID_ARGUMENT for an unknown algorithm
// and for a source or target size beyond what OpenCV can address; checked before any memory is
// taken for the result.
void check_scalable(const Image& source, std::size_t width, std::size_t height, std::int32_t interpolation);

// `target` has the source's pixel format and the wanted size.
void scale_into(const Image& source, Image& target, std::int32_t interpolation);

}  // namespace plox::ipl::lib
