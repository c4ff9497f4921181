#include "byte_channels.h"

#include "../core/settings.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "lib/convert/byte_channels.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

// This file is compiled once per SIMD target; the scalar code only the first time.
#ifndef PLOX_IPL_BYTE_CHANNELS_SCALAR
#define PLOX_IPL_BYTE_CHANNELS_SCALAR
namespace plox::ipl::lib {
namespace byte_channels_detail {

// out channel c of each pixel = in channel source[c], or 255 where source[c] < 0.
struct ByteShuffle {
    int in_channels;
    int out_channels;
    int source[4];
};

inline void map_scalar(const std::uint8_t* in, std::uint8_t* out, std::size_t first, std::size_t pixels,
                       const ByteShuffle& map) {
    for (std::size_t x = first; x < pixels; ++x) {
        const std::uint8_t* p = in + x * map.in_channels;
        std::uint8_t* q = out + x * map.out_channels;
        for (int c = 0; c < map.out_channels; ++c) q[c] = map.source[c] < 0 ? 255 : p[map.source[c]];
    }
}

}  // namespace byte_channels_detail
}  // namespace plox::ipl::lib
#endif

HWY_BEFORE_NAMESPACE();
namespace plox::ipl::lib {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

template <int In, int Out>
void MapBlocks(const std::uint8_t* in, std::uint8_t* out, std::size_t pixels, const byte_channels_detail::ByteShuffle& map) {
    const hn::ScalableTag<std::uint8_t> d;
    using V = hn::Vec<decltype(d)>;
    const std::size_t lanes = hn::Lanes(d);
    const V opaque = hn::Set(d, 255);
    std::size_t x = 0;
    for (; x + lanes <= pixels; x += lanes) {
        V c0, c1, c2, c3;
        if constexpr (In == 1) {
            c0 = c1 = c2 = c3 = hn::LoadU(d, in + x);
        } else if constexpr (In == 3) {
            hn::LoadInterleaved3(d, in + 3 * x, c0, c1, c2);
            c3 = opaque;
        } else {
            hn::LoadInterleaved4(d, in + 4 * x, c0, c1, c2, c3);
        }
        const auto pick = [&](int source) {
            switch (source) {
                case 0: return c0;
                case 1: return c1;
                case 2: return c2;
                case 3: return c3;
                default: return opaque;
            }
        };
        if constexpr (Out == 3) {
            hn::StoreInterleaved3(pick(map.source[0]), pick(map.source[1]), pick(map.source[2]), d, out + 3 * x);
        } else {
            hn::StoreInterleaved4(pick(map.source[0]), pick(map.source[1]), pick(map.source[2]), pick(map.source[3]), d,
                                  out + 4 * x);
        }
    }
    byte_channels_detail::map_scalar(in, out, x, pixels, map);
}

void MapByteChannels(const std::uint8_t* in, std::uint8_t* out, std::size_t pixels, const byte_channels_detail::ByteShuffle& map) {
    const int key = map.in_channels * 10 + map.out_channels;
    switch (key) {
        case 13: return MapBlocks<1, 3>(in, out, pixels, map);
        case 14: return MapBlocks<1, 4>(in, out, pixels, map);
        case 33: return MapBlocks<3, 3>(in, out, pixels, map);
        case 34: return MapBlocks<3, 4>(in, out, pixels, map);
        case 43: return MapBlocks<4, 3>(in, out, pixels, map);
        case 44: return MapBlocks<4, 4>(in, out, pixels, map);
        default: return byte_channels_detail::map_scalar(in, out, 0, pixels, map);
    }
}

}  // namespace HWY_NAMESPACE
}  // namespace plox::ipl::lib
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace plox::ipl::lib {

HWY_EXPORT(MapByteChannels);

void map_byte_channels(const std::uint8_t* in, const PixelFormatInfo& from, std::uint8_t* out,
                       const PixelFormatInfo& to, std::size_t pixels) {
    byte_channels_detail::ByteShuffle map{from.channels, to.channels, {-1, -1, -1, -1}};
    // Grey has no colour positions: its one value stands for all three.
    const auto at = [&](std::int8_t position) { return from.is_colour ? position : 0; };
    map.source[to.layout.red] = at(from.layout.red);
    map.source[to.layout.green] = at(from.layout.green);
    map.source[to.layout.blue] = at(from.layout.blue);
    if (to.layout.has_alpha()) map.source[to.layout.alpha] = from.layout.alpha;
    if (Settings::instance().simd_enabled()) {
        HWY_DYNAMIC_DISPATCH(MapByteChannels)(in, out, pixels, map);
    } else {
        byte_channels_detail::map_scalar(in, out, 0, pixels, map);
    }
}

}  // namespace plox::ipl::lib
#endif
