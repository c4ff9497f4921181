// JPEG files through libjpeg-turbo's TurboJPEG interface.
#pragma once

#include <cstdint>

#include "raster.h"

namespace plox::ipl::lib {

// Grey rasters as grey JPEG, colour as YCbCr JPEG with 4:2:0 chroma (alpha is dropped). 8-bit
// rasters only, up to 65500 pixels a side. `quality` 1..100; other values throw Error with
// PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT naming the value.
Encoded encode_jpeg(const RasterView& raster, std::uint32_t quality);

// Grey JPEGs as 1 channel, colour JPEGs as RGB. Corrupt or truncated data throws Error with
// PLOX_IPL_RETURN_CODE_IO_ERROR, including streams libjpeg-turbo would finish with only a
// warning (a cut-off file decodes with grey rows in place of the missing ones) and files that
// stop before their end marker or before their scans complete every coefficient. A size the
// file cannot hold (check_claim) throws IO_ERROR before any pixel memory is taken; CMYK JPEGs
// throw PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED.
Raster decode_jpeg(const std::uint8_t* data, std::size_t size);

}  // namespace plox::ipl::lib
