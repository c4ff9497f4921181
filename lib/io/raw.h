// Our raw image files: a 32-byte header, then the image bytes exactly as in memory, so that any
// program can read them at a fixed offset (NumPy: np.fromfile(path, np.uint8, offset=32)).
//
//   bytes  0-7   magic "PLOXRAW1"
//   bytes  8-11  width, little-endian uint32
//   bytes 12-15  height, little-endian uint32
//   bytes 16-19  pixel format code, little-endian uint32
//   bytes 20-23  zero
//   bytes 24-31  timestamp in nanoseconds, little-endian uint64
//   bytes 32-    the image bytes (the pixel format's storage size of width x height pixels)
#pragma once

#include <cstdint>

#include "../core/image.h"
#include "raster.h"

namespace plox::ipl::lib {

inline constexpr std::size_t kRawHeaderSize = 32;

bool is_raw_file(const std::uint8_t* data, std::size_t size);

Encoded encode_raw(const Image& image);

struct RawFile {
    std::uint32_t width;
    std::uint32_t height;
    const PixelFormatInfo* format;
    std::uint64_t timestamp;
    const std::uint8_t* payload;
    std::size_t payload_size;
};

// Checks the header against the file: IO_ERROR naming what is damaged when the magic, the zero
// bytes, the pixel format (unknown or packed), the size or the image byte count is wrong.
RawFile parse_raw(const std::uint8_t* data, std::size_t size);

}  // namespace plox::ipl::lib
