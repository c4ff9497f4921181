// Rows of any format to and from working rows: 16-bit values, one (grey) or three/four (R, G, B
// and alpha) per pixel, at the format's significant depth (YUV decodes to and encodes from
// 8-bit RGB).
#pragma once

#include <cstddef>
#include <cstdint>

#include "../core/image.h"

namespace plox::ipl::lib {

enum class RowKind { gray, rgb, rgba };

inline std::size_t channels_of(RowKind kind) { return kind == RowKind::gray ? 1 : kind == RowKind::rgb ? 3 : 4; }

// The working row kind a format decodes to and encodes from (Bayer mosaics are grey rows).
RowKind row_kind(const PixelFormatInfo& format);
// The depth of working values: significant bits, 8 for YUV.
unsigned row_depth(const PixelFormatInfo& format);

void decode_row(const Image& image, std::size_t y, std::uint16_t* out);

// Writes row y; for YUV420 formats rows come in pairs: call with the even row and its successor
// (`next` may equal `row` for the last row of an odd-height image).
void encode_row(const std::uint16_t* row, Image& image, std::size_t y);
void encode_yuv420_rows(const std::uint16_t* row, const std::uint16_t* next, Image& image, std::size_t y);

}  // namespace plox::ipl::lib
