// Bit-packed pixel streams to and from 16-bit values, one row (or any run of values) at a time.
//
// A stream is the whole image's bytes: rows are not padded, so a run may start and end inside a
// packing group. Values are addressed by their index in the stream (pixel index for one-channel
// formats; for word32, pixel index with three values per pixel).
// Every packing works; unpacked formats (Packing::none) with 8- or 16-bit containers too, so one
// call serves every integer format.
#pragma once

#include <cstddef>
#include <cstdint>

#include "../core/pixel_format_table.h"

namespace plox::ipl::lib {

// Reads `count` values starting at value `first` into `out`, each in the low bits of a word.
void unpack_values(const PixelFormatInfo& format, const std::uint8_t* stream, std::size_t first, std::size_t count,
                   std::uint16_t* out);

// As unpack_values, each value narrowed to its 8 high bits (value >> (bits - 8)).
void unpack_values_to_8(const PixelFormatInfo& format, const std::uint8_t* stream, std::size_t first,
                        std::size_t count, std::uint8_t* out);

// Writes `count` values (only their low `format.significant_bits` bits) at value `first`. Bits of
// bytes shared with values outside the run are kept.
void pack_values(const PixelFormatInfo& format, const std::uint16_t* values, std::size_t first, std::size_t count,
                 std::uint8_t* stream);

}  // namespace plox::ipl::lib
