// Formats whose every pixel sits in its own bytes: geometric operations and pixel lines move
// and read whole pixels, which bit-packed rows and YUV's shared chroma do not have.
#pragma once

#include <cstddef>

#include "../core/error.h"
#include "../core/pixel_format_table.h"

namespace plox::ipl::lib {

constexpr bool has_whole_pixels(const PixelFormatInfo& format) noexcept {
    return !format.is_packed() && !format.is_yuv();
}

// Refuses the other formats with IMAGE_FORMAT_NOT_SUPPORTED; `argument` names the image.
inline void require_whole_pixels(const PixelFormatInfo& format, const char* argument) {
    if (format.is_packed())
        fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, argument, " has a packed pixel format: ", format.name,
             " (unpack it first)");
    if (format.is_yuv())
        fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, argument, " has a YUV pixel format: ", format.name,
             " (its pixels share chroma; convert it to RGB8 first)");
}

// Bytes of one pixel of a format with whole pixels.
constexpr std::size_t pixel_bytes(const PixelFormatInfo& format) noexcept { return format.storage_bits_per_pixel / 8; }

template <std::size_t N>
struct PixelSize {
    static constexpr std::size_t bytes = N;
};

// Runs body(PixelSize<N>{}) for the pixel size of every format with whole pixels: kernels that
// move pixels without looking at them are instantiated per size, not per sample type.
template <class Body>
decltype(auto) with_pixel_size(std::size_t bytes, Body&& body) {
    switch (bytes) {
        case 1: return body(PixelSize<1>{});
        case 2: return body(PixelSize<2>{});
        case 3: return body(PixelSize<3>{});
        case 4: return body(PixelSize<4>{});
        case 6: return body(PixelSize<6>{});
        case 8: return body(PixelSize<8>{});
        case 12: return body(PixelSize<12>{});
    }
    fail(PLOX_IPL_RETURN_CODE_ERROR, "no pixel kernel for pixels of ", bytes, " bytes");
}

}  // namespace plox::ipl::lib
