// 8-bit pixels to 8-bit pixels with other channels: replicate grey, reorder colours, add or
// keep alpha. The whole job of Mono8 -> RGB8, RGB8 -> BGRa8 and their kind.
#pragma once

#include <cstddef>
#include <cstdint>

namespace plox::ipl::lib {

// out channel c of each pixel = in channel source[c], or 255 where source[c] < 0. Input has 1, 3
// or 4 channels, output 3 or 4.
struct ChannelMap {
    int in_channels;
    int out_channels;
    int source[4];
};

void map_byte_channels(const std::uint8_t* in, std::uint8_t* out, std::size_t pixels, const ChannelMap& map);

}  // namespace plox::ipl::lib
