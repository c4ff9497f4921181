// Windows bitmap files.
#pragma once

#include "raster.h"

namespace plox::ipl::lib {

// 8-bit rasters only: grey as 8-bit with a grey palette, RGB as 24-bit, RGBA as 32-bit.
Encoded encode_bmp(const RasterView& raster);

// 8-bit palette (grey or colour), 24 and 32-bit, bottom-up or top-down files. Grey palettes
// give 1 channel, colour palettes and 24-bit give RGB, 32-bit gives RGBA. Corrupt or truncated
// data throws Error with PLOX_IPL_RETURN_CODE_IO_ERROR.
Raster decode_bmp(const std::uint8_t* data, std::size_t size);

}  // namespace plox::ipl::lib
