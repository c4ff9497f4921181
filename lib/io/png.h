// PNG files through libpng.
#pragma once

#include <cstdint>

#include "raster.h"

namespace plox::ipl::lib {

// 8-bit rasters as 8-bit PNG; 16-bit rasters as 16-bit PNG with samples scaled to the full
// 16-bit range by bit replication and an sBIT chunk naming `significant_bits`. `quality` is the
// ImageWriterPNGParameter value (0..100, compression effort; see the mapping in png.cpp); above
// 100 fails with PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT. Strips of rows are compressed on the
// library's worker threads; the file's bytes do not depend on how many there are.
Encoded encode_png(const RasterView& raster, std::uint32_t quality);

// Grey, grey + alpha, RGB, RGBA and palette PNGs of 1 to 16 bits per sample. Palette images
// come back as RGB (RGBA with transparency), sub-byte grey as 8-bit. Corrupt or truncated data,
// or a size the file cannot hold (check_claim), throws Error with PLOX_IPL_RETURN_CODE_IO_ERROR
// and a text saying what is wrong.
Raster decode_png(const std::uint8_t* data, std::size_t size);

}  // namespace plox::ipl::lib
