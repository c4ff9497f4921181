// The facts of every pixel format, in one table. Every layout query, size computation and
// conversion dispatch reads them from here.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include <umb_plox_ipl/pixel_format.h>

namespace plox::ipl::lib {

enum class Family : std::uint8_t { mono, bayer, rgb, bgr, rgba, bgra, yuv422, yuv420, coord3d, confidence };

enum class Packing : std::uint8_t {
    none,         // one little-endian container of storage_bits per channel value
    lsb_stream,   // PFNC "p": values back to back, least significant bit first
    msb_grouped,  // our g40/g24: high bits one byte per pixel, low bits gathered in a last byte
    word32,       // three 10-bit channels in one little-endian 32-bit word
};

// Where each colour sits among the channels of a stored pixel; -1 where the format does not
// store it. Grey, Bayer, YUV and depth formats store none of them.
struct ChannelLayout {
    std::int8_t red;
    std::int8_t green;
    std::int8_t blue;
    std::int8_t alpha;

    constexpr bool has_alpha() const noexcept { return alpha >= 0; }
    constexpr bool operator==(const ChannelLayout& o) const noexcept {
        return red == o.red && green == o.green && blue == o.blue && alpha == o.alpha;
    }
};

inline constexpr ChannelLayout kNoColours{-1, -1, -1, -1};
inline constexpr ChannelLayout kRgbLayout{0, 1, 2, -1};
inline constexpr ChannelLayout kBgrLayout{2, 1, 0, -1};
inline constexpr ChannelLayout kRgbaLayout{0, 1, 2, 3};
inline constexpr ChannelLayout kBgraLayout{2, 1, 0, 3};

struct PixelFormatInfo {
    PLOX_IPL_PIXEL_FORMAT_NAME code;
    const char* name;
    Family family;
    std::uint8_t channels;
    std::uint8_t significant_bits;  // per channel
    std::uint8_t storage_bits;      // per channel
    std::uint8_t significant_bits_per_pixel;
    std::uint8_t storage_bits_per_pixel;
    Packing packing;
    PLOX_IPL_BAYER_PATTERN bayer;
    bool is_float;
    PLOX_IPL_ENDIANNESS endianness;
    // Pixels in the smallest run that fills whole bytes (4 for 10-bit packing, 2 for UYVY).
    std::uint8_t group_pixels;
    ChannelLayout layout;
    // Every pixel holds its own red, green and blue channels (the RGB family, packed ones too);
    // a mosaic or YUV image is not colour in this sense.
    bool is_colour;
    // YUV chroma pairs store V before U.
    bool v_first;

    constexpr bool is_packed() const noexcept { return packing != Packing::none; }
    constexpr bool is_bayer() const noexcept { return family == Family::bayer; }
    constexpr bool is_yuv() const noexcept { return family == Family::yuv422 || family == Family::yuv420; }
    constexpr bool is_coord3d() const noexcept { return family == Family::coord3d; }
    // Largest value of one channel; 0 for floating-point formats.
    std::uint32_t max_value() const noexcept {
        return is_float ? 0u : static_cast<std::uint32_t>((std::uint64_t{1} << significant_bits) - 1);
    }
    // Bytes for `pixels` pixels; throws OUT_OF_RANGE on overflow. A PFNC bit stream ends in the
    // byte of its last bit, as a camera sends it; every other layout takes whole groups.
    std::uint64_t storage_size(std::uint64_t pixels) const;
};

inline constexpr std::size_t kPixelFormatCount = 59;  // every name except Invalid

const std::array<PixelFormatInfo, kPixelFormatCount>& all_pixel_formats() noexcept;

// nullptr for Invalid and unknown codes.
const PixelFormatInfo* find_pixel_format(std::uint32_t code) noexcept;
// Throws INVALID_ARGUMENT naming the code for Invalid and unknown codes.
const PixelFormatInfo& pixel_format(std::uint32_t code);

// The unpacked format of `family` with that many significant bits per channel (Bayer: of
// `pattern`), or nullptr.
const PixelFormatInfo* find_unpacked_format(Family family, unsigned significant_bits,
                                            PLOX_IPL_BAYER_PATTERN pattern = PLOX_IPL_BAYER_PATTERN_NONE);

// The pattern of a mosaic whose first pixel was at (dx, dy) of a `pattern` mosaic.
PLOX_IPL_BAYER_PATTERN shifted_bayer_pattern(PLOX_IPL_BAYER_PATTERN pattern, std::size_t dx, std::size_t dy);

enum class Colour : std::uint8_t { red, green, blue };

// The colour of the site at (x, y) of a `pattern` mosaic.
Colour bayer_colour(PLOX_IPL_BAYER_PATTERN pattern, std::size_t x, std::size_t y);

// The Bayer format of the same depth and packing whose top-left cell is `pattern`'s.
const PixelFormatInfo& with_bayer_pattern(const PixelFormatInfo& bayer, PLOX_IPL_BAYER_PATTERN pattern);

}  // namespace plox::ipl::lib
