// JPEG files through libjpeg-turbo's TurboJPEG interface.
#pragma once

#include <cstdint>

#include "raster.h"

namespace plox::ipl::lib {

// Grey rasters as grey JPEG, colour as YCbCr JPEG (alpha is dropped). 8-bit rasters only.
// `quality` 1..100; other values throw Error with PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT naming
// the value.
Encoded encode_jpeg(const RasterView& raster, std::uint32_t quality);

// Grey JPEGs as 1 channel, colour JPEGs as RGB. Corrupt or truncated data throws Error with
// PLOX_IPL_RETURN_CODE_IO_ERROR.
Raster decode_jpeg(const std::uint8_t* data, std::size_t size);

}  // namespace plox::ipl::lib
