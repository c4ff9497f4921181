// Colour arithmetic of the conversions, in integers so that every path gives the same bytes.
// BT.601 weights in 16-bit fixed point; YUV is full range with chroma centred on 128.
#pragma once

#include <algorithm>
#include <cstdint>

namespace plox::ipl::lib {

inline constexpr int kLumaR = 19595;  // 0.299 * 65536
inline constexpr int kLumaG = 38470;  // 0.587 * 65536
inline constexpr int kLumaB = 7471;   // 0.114 * 65536, so that the three sum to 65536

inline std::uint32_t luma(std::uint32_t r, std::uint32_t g, std::uint32_t b) {
    return (kLumaR * r + kLumaG * g + kLumaB * b + 32768) >> 16;
}

inline std::uint8_t clamp_byte(int value) { return static_cast<std::uint8_t>(std::clamp(value, 0, 255)); }

// U and V of one pixel, scaled by 65536 and not yet offset or rounded, so that pixel pairs and
// 2x2 blocks can be averaged before the single rounding.
inline int chroma_u_scaled(int r, int g, int b) { return -11059 * r - 21709 * g + 32768 * b; }
inline int chroma_v_scaled(int r, int g, int b) { return 32768 * r - 27439 * g - 5329 * b; }

// The average of `count` scaled chroma values, rounded, offset by 128 and clamped.
inline std::uint8_t chroma_byte(int scaled_sum, int count) {
    const int divisor = 65536 * count;
    const int value = (scaled_sum + divisor / 2 + 128 * divisor) / divisor;
    return clamp_byte(value);
}

struct Rgb8 {
    std::uint8_t r, g, b;
};

inline Rgb8 yuv_to_rgb(int y, int u, int v) {
    const int d = u - 128;
    const int e = v - 128;
    // 1.402, 0.344136, 0.714136, 1.772 in 16-bit fixed point, rounded.
    return {clamp_byte(y + ((91881 * e + 32768) >> 16)), clamp_byte(y - ((22554 * d + 46802 * e + 32768) >> 16)),
            clamp_byte(y + ((116130 * d + 32768) >> 16))};
}

}  // namespace plox::ipl::lib
