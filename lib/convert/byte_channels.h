// 8-bit pixels to 8-bit pixels with other channels: replicate grey, reorder colours, add or
// keep alpha. The whole job of Mono8 -> RGB8, RGB8 -> BGRa8 and their kind.
#pragma once

#include <cstddef>
#include <cstdint>

#include "../core/pixel_format_table.h"

namespace plox::ipl::lib {

// `pixels` pixels of `from` (8-bit grey or colour) to `to` (8-bit colour), each colour placed as
// the two formats' layouts say; grey is replicated, a missing alpha is 255.
void map_byte_channels(const std::uint8_t* in, const PixelFormatInfo& from, std::uint8_t* out,
                       const PixelFormatInfo& to, std::size_t pixels);

}  // namespace plox::ipl::lib
