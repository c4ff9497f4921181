// Windows bitmap files.
#pragma once

#include "raster.h"

namespace plox::ipl::lib {

// 8-bit rasters only: grey as 8-bit with a grey palette, RGB as 24-bit, RGBA as 32-bit with a
// V4 header whose masks name the alpha byte (readers ignore alpha in plain 32-bit files).
// Bottom-up rows, 72 dpi.
Encoded encode_bmp(const RasterView& raster);

// 1, 4 and 8-bit palette (grey or colour), 24 and 32-bit, bottom-up or top-down files. Grey
// palettes give 1 channel, colour palettes and 24-bit give RGB. 32-bit gives RGBA when the file
// names an alpha mask (BI_BITFIELDS/BI_ALPHABITFIELDS masks, or a V3/V4/V5 header), else RGB:
// the fourth byte of a plain 32-bit pixel is padding. Compressed (RLE, JPEG, PNG), 16-bit and
// OS/2 files throw Error with PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED; corrupt or
// truncated data, or a size the file cannot hold (check_claim), throws Error with
// PLOX_IPL_RETURN_CODE_IO_ERROR.
Raster decode_bmp(const std::uint8_t* data, std::size_t size);

}  // namespace plox::ipl::lib
