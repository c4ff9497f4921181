#include "pixel_format_table.h"

#include <cstring>
#include <iomanip>

#include "error.h"

namespace plox::ipl::lib {

namespace {

constexpr std::uint8_t whole_byte_run(unsigned bits_per_pixel) {
    std::uint8_t pixels = 1;
    while ((pixels * bits_per_pixel) % 8 != 0) ++pixels;
    return pixels;
}

// A format whose channels each sit in their own container (8, 16 or 32 bits), none of them a colour.
constexpr PixelFormatInfo plain(PLOX_IPL_PIXEL_FORMAT_NAME code, const char* name, Family family, unsigned channels,
                                unsigned significant, unsigned storage,
                                PLOX_IPL_BAYER_PATTERN bayer = PLOX_IPL_BAYER_PATTERN_NONE, bool is_float = false) {
    return {code,
            name,
            family,
            static_cast<std::uint8_t>(channels),
            static_cast<std::uint8_t>(significant),
            static_cast<std::uint8_t>(storage),
            static_cast<std::uint8_t>(channels * significant),
            static_cast<std::uint8_t>(channels * storage),
            Packing::none,
            bayer,
            is_float,
            PLOX_IPL_ENDIANNESS_LITTLE_ENDIAN,
            1,
            kNoColours,
            false,
            false};
}

// Red, green, blue and maybe alpha, each in its own container, in the order `layout` gives.
constexpr PixelFormatInfo colour(PLOX_IPL_PIXEL_FORMAT_NAME code, const char* name, Family family,
                                 ChannelLayout layout, unsigned significant, unsigned storage) {
    PixelFormatInfo f = plain(code, name, family, layout.has_alpha() ? 4 : 3, significant, storage);
    f.layout = layout;
    f.is_colour = true;
    return f;
}

// A one-channel format whose values are packed without gaps.
constexpr PixelFormatInfo packed(PLOX_IPL_PIXEL_FORMAT_NAME code, const char* name, Family family, unsigned bits,
                                 Packing packing, PLOX_IPL_BAYER_PATTERN bayer = PLOX_IPL_BAYER_PATTERN_NONE) {
    return {code,
            name,
            family,
            1,
            static_cast<std::uint8_t>(bits),
            static_cast<std::uint8_t>(bits),
            static_cast<std::uint8_t>(bits),
            static_cast<std::uint8_t>(bits),
            packing,
            bayer,
            false,
            PLOX_IPL_ENDIANNESS_LITTLE_ENDIAN,
            whole_byte_run(bits),
            kNoColours,
            false,
            false};
}

// Three 10-bit colour channels in a 32-bit word, the first in the lowest bits.
constexpr PixelFormatInfo word32(PLOX_IPL_PIXEL_FORMAT_NAME code, const char* name, Family family,
                                 ChannelLayout layout) {
    return {code, name, family, 3, 10, 10, 30, 32, Packing::word32, PLOX_IPL_BAYER_PATTERN_NONE, false,
            PLOX_IPL_ENDIANNESS_LITTLE_ENDIAN, 1, layout, true, false};
}

// 8-bit YUV: three channels sharing `bits_per_pixel`, chroma shared by `group` pixels.
constexpr PixelFormatInfo yuv(PLOX_IPL_PIXEL_FORMAT_NAME code, const char* name, Family family,
                              unsigned bits_per_pixel, unsigned group, bool v_first) {
    return {code, name, family, 3, 8, 8, static_cast<std::uint8_t>(bits_per_pixel),
            static_cast<std::uint8_t>(bits_per_pixel), Packing::none, PLOX_IPL_BAYER_PATTERN_NONE, false,
            PLOX_IPL_ENDIANNESS_LITTLE_ENDIAN, static_cast<std::uint8_t>(group), kNoColours, false, v_first};
}

#define PF(name) PLOX_IPL_PIXEL_FORMAT_##name, #name

constexpr auto GR = PLOX_IPL_BAYER_PATTERN_GR;
constexpr auto RG = PLOX_IPL_BAYER_PATTERN_RG;
constexpr auto GB = PLOX_IPL_BAYER_PATTERN_GB;
constexpr auto BG = PLOX_IPL_BAYER_PATTERN_BG;
constexpr auto NO_BAYER = PLOX_IPL_BAYER_PATTERN_NONE;

constexpr std::array<PixelFormatInfo, kPixelFormatCount> kTable = {{
    plain(PF(BayerGR8), Family::bayer, 1, 8, 8, GR),
    plain(PF(BayerGR10), Family::bayer, 1, 10, 16, GR),
    plain(PF(BayerGR12), Family::bayer, 1, 12, 16, GR),
    plain(PF(BayerRG8), Family::bayer, 1, 8, 8, RG),
    plain(PF(BayerRG10), Family::bayer, 1, 10, 16, RG),
    plain(PF(BayerRG12), Family::bayer, 1, 12, 16, RG),
    plain(PF(BayerGB8), Family::bayer, 1, 8, 8, GB),
    plain(PF(BayerGB10), Family::bayer, 1, 10, 16, GB),
    plain(PF(BayerGB12), Family::bayer, 1, 12, 16, GB),
    plain(PF(BayerBG8), Family::bayer, 1, 8, 8, BG),
    plain(PF(BayerBG10), Family::bayer, 1, 10, 16, BG),
    plain(PF(BayerBG12), Family::bayer, 1, 12, 16, BG),
    plain(PF(Mono8), Family::mono, 1, 8, 8),
    plain(PF(Mono10), Family::mono, 1, 10, 16),
    plain(PF(Mono12), Family::mono, 1, 12, 16),
    plain(PF(Mono16), Family::mono, 1, 16, 16),
    plain(PF(Confidence8), Family::confidence, 1, 8, 8),
    plain(PF(Confidence16), Family::confidence, 1, 16, 16),
    plain(PF(Coord3D_C8), Family::coord3d, 1, 8, 8),
    plain(PF(Coord3D_C16), Family::coord3d, 1, 16, 16),
    plain(PF(Coord3D_C32f), Family::coord3d, 1, 32, 32, NO_BAYER, true),
    plain(PF(Coord3D_ABC32f), Family::coord3d, 3, 32, 32, NO_BAYER, true),
    yuv(PF(YUV420_8_YY_UV_SemiplanarUMB), Family::yuv420, 12, 2, false),
    yuv(PF(YUV420_8_YY_VU_SemiplanarUMB), Family::yuv420, 12, 2, true),
    yuv(PF(YUV422_8_UYVY), Family::yuv422, 16, 2, false),
    colour(PF(RGB8), Family::rgb, kRgbLayout, 8, 8),
    colour(PF(RGB10), Family::rgb, kRgbLayout, 10, 16),
    colour(PF(RGB12), Family::rgb, kRgbLayout, 12, 16),
    colour(PF(BGR8), Family::bgr, kBgrLayout, 8, 8),
    colour(PF(BGR10), Family::bgr, kBgrLayout, 10, 16),
    colour(PF(BGR12), Family::bgr, kBgrLayout, 12, 16),
    colour(PF(RGBa8), Family::rgba, kRgbaLayout, 8, 8),
    colour(PF(RGBa10), Family::rgba, kRgbaLayout, 10, 16),
    colour(PF(RGBa12), Family::rgba, kRgbaLayout, 12, 16),
    colour(PF(BGRa8), Family::bgra, kBgraLayout, 8, 8),
    colour(PF(BGRa10), Family::bgra, kBgraLayout, 10, 16),
    colour(PF(BGRa12), Family::bgra, kBgraLayout, 12, 16),
    packed(PF(BayerBG10p), Family::bayer, 10, Packing::lsb_stream, BG),
    packed(PF(BayerBG12p), Family::bayer, 12, Packing::lsb_stream, BG),
    packed(PF(BayerGB10p), Family::bayer, 10, Packing::lsb_stream, GB),
    packed(PF(BayerGB12p), Family::bayer, 12, Packing::lsb_stream, GB),
    packed(PF(BayerGR10p), Family::bayer, 10, Packing::lsb_stream, GR),
    packed(PF(BayerGR12p), Family::bayer, 12, Packing::lsb_stream, GR),
    packed(PF(BayerRG10p), Family::bayer, 10, Packing::lsb_stream, RG),
    packed(PF(BayerRG12p), Family::bayer, 12, Packing::lsb_stream, RG),
    packed(PF(Mono10p), Family::mono, 10, Packing::lsb_stream),
    packed(PF(Mono12p), Family::mono, 12, Packing::lsb_stream),
    word32(PF(RGB10p32), Family::rgb, kRgbLayout),
    word32(PF(BGR10p32), Family::bgr, kBgrLayout),
    packed(PF(BayerRG10g40UMB), Family::bayer, 10, Packing::msb_grouped, RG),
    packed(PF(BayerGB10g40UMB), Family::bayer, 10, Packing::msb_grouped, GB),
    packed(PF(BayerGR10g40UMB), Family::bayer, 10, Packing::msb_grouped, GR),
    packed(PF(BayerBG10g40UMB), Family::bayer, 10, Packing::msb_grouped, BG),
    packed(PF(BayerRG12g24UMB), Family::bayer, 12, Packing::msb_grouped, RG),
    packed(PF(BayerGB12g24UMB), Family::bayer, 12, Packing::msb_grouped, GB),
    packed(PF(BayerGR12g24UMB), Family::bayer, 12, Packing::msb_grouped, GR),
    packed(PF(BayerBG12g24UMB), Family::bayer, 12, Packing::msb_grouped, BG),
    packed(PF(Mono10g40UMB), Family::mono, 10, Packing::msb_grouped),
    packed(PF(Mono12g24UMB), Family::mono, 12, Packing::msb_grouped),
}};

#undef PF

// Whole-byte groups are what makes storage sizes exact; a row that breaks this is a typo.
constexpr bool groups_fill_bytes() {
    for (const PixelFormatInfo& f : kTable) {
        if ((f.group_pixels * f.storage_bits_per_pixel) % 8 != 0) return false;
    }
    return true;
}
static_assert(groups_fill_bytes(), "every packing group must fill whole bytes");

// A layout points at distinct channels of the pixel, alpha last; exactly the RGB family stores
// colours, in the order its family names; only YUV has a chroma order.
constexpr bool layouts_fit_channels() {
    for (const PixelFormatInfo& f : kTable) {
        const ChannelLayout& l = f.layout;
        const int at[4] = {l.red, l.green, l.blue, l.alpha};
        for (int i = 0; i < 4; ++i) {
            if (at[i] >= f.channels) return false;
            for (int j = 0; j < i; ++j) {
                if (at[i] >= 0 && at[i] == at[j]) return false;
            }
        }
        const bool rgb_family = f.family == Family::rgb || f.family == Family::bgr || f.family == Family::rgba ||
                                f.family == Family::bgra;
        const bool stores_colours = l.red >= 0 && l.green >= 0 && l.blue >= 0;
        if (f.is_colour != rgb_family || f.is_colour != stores_colours) return false;
        if (l.has_alpha() != (f.family == Family::rgba || f.family == Family::bgra)) return false;
        if (l.has_alpha() && l.alpha != f.channels - 1) return false;
        if ((l.red > l.blue) != (f.family == Family::bgr || f.family == Family::bgra)) return false;
        if (f.v_first && !f.is_yuv()) return false;
    }
    return true;
}
static_assert(layouts_fit_channels(), "a channel layout disagrees with its row");

constexpr std::uint32_t kNamedCodes[] = {
#define PLOX_IPL_CODE_(name, code) code,
    PLOX_IPL_PIXEL_FORMAT_NAMES(PLOX_IPL_CODE_)
#undef PLOX_IPL_CODE_
};

// One row for every public name but Invalid, none twice.
constexpr bool every_name_has_one_row() {
    for (std::uint32_t code : kNamedCodes) {
        int rows = 0;
        for (const PixelFormatInfo& f : kTable) rows += static_cast<std::uint32_t>(f.code) == code ? 1 : 0;
        if (rows != (code == PLOX_IPL_PIXEL_FORMAT_Invalid ? 0 : 1)) return false;
    }
    return sizeof(kNamedCodes) / sizeof(kNamedCodes[0]) == kPixelFormatCount + 1;
}
static_assert(every_name_has_one_row(), "the table and the public names disagree");

// The 2x2 cell of each pattern, row by row.
struct BayerCell {
    PLOX_IPL_BAYER_PATTERN pattern;
    char colours[5];
};
constexpr BayerCell kCells[] = {
    {PLOX_IPL_BAYER_PATTERN_GR, "GRBG"},
    {PLOX_IPL_BAYER_PATTERN_RG, "RGGB"},
    {PLOX_IPL_BAYER_PATTERN_GB, "GBRG"},
    {PLOX_IPL_BAYER_PATTERN_BG, "BGGR"},
};

}  // namespace

PLOX_IPL_BAYER_PATTERN shifted_bayer_pattern(PLOX_IPL_BAYER_PATTERN pattern, std::size_t dx, std::size_t dy) {
    const char* cell = nullptr;
    for (const BayerCell& c : kCells) {
        if (c.pattern == pattern) cell = c.colours;
    }
    char shifted[5] = {};
    for (std::size_t row = 0; row < 2; ++row) {
        for (std::size_t col = 0; col < 2; ++col) shifted[row * 2 + col] = cell[((row + dy) % 2) * 2 + (col + dx) % 2];
    }
    for (const BayerCell& c : kCells) {
        if (std::memcmp(c.colours, shifted, 4) == 0) return c.pattern;
    }
    return pattern;
}


Colour bayer_colour(PLOX_IPL_BAYER_PATTERN pattern, std::size_t x, std::size_t y) {
    for (const BayerCell& c : kCells) {
        if (c.pattern != pattern) continue;
        const char site = c.colours[(y % 2) * 2 + x % 2];
        return site == 'R' ? Colour::red : site == 'G' ? Colour::green : Colour::blue;
    }
    fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "Bayer pattern ", static_cast<int>(pattern), " is unknown");
}

std::uint64_t PixelFormatInfo::storage_size(std::uint64_t pixels) const {
    unsigned __int128 bytes = 0;
    if (packing == Packing::lsb_stream) {
        // A camera sends ceil(pixels * bits / 8) bytes: the last byte may hold only part of a group.
        bytes = (static_cast<unsigned __int128>(pixels) * storage_bits_per_pixel + 7) / 8;
    } else {
        // The g40/g24 layouts keep a group's shared low bits in its last byte, so a partial group
        // still reaches that byte; a UYVY pair shares its chroma bytes.
        const std::uint64_t groups = pixels / group_pixels + (pixels % group_pixels != 0 ? 1 : 0);
        bytes = static_cast<unsigned __int128>(groups) * (std::uint64_t{group_pixels} * storage_bits_per_pixel / 8);
    }
    if (bytes > UINT64_MAX)
        fail(PLOX_IPL_RETURN_CODE_OUT_OF_RANGE, pixels, " pixels of ", name, " need more than 2^64 bytes");
    return static_cast<std::uint64_t>(bytes);
}

const std::array<PixelFormatInfo, kPixelFormatCount>& all_pixel_formats() noexcept { return kTable; }

const PixelFormatInfo* find_pixel_format(std::uint32_t code) noexcept {
    for (const PixelFormatInfo& format : kTable) {
        if (static_cast<std::uint32_t>(format.code) == code) return &format;
    }
    return nullptr;
}

const PixelFormatInfo& pixel_format(std::uint32_t code) {
    const PixelFormatInfo* format = find_pixel_format(code);
    if (format == nullptr) {
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "pixel format 0x", std::hex, std::setw(8), std::setfill('0'), code,
             code == PLOX_IPL_PIXEL_FORMAT_Invalid ? " (Invalid)" : "", " is not a known pixel format");
    }
    return *format;
}

const PixelFormatInfo* find_unpacked_format(Family family, unsigned significant_bits, PLOX_IPL_BAYER_PATTERN pattern) {
    for (const PixelFormatInfo& f : kTable) {
        if (f.family == family && f.significant_bits == significant_bits && f.packing == Packing::none &&
            f.bayer == pattern && !f.is_float)
            return &f;
    }
    return nullptr;
}

const PixelFormatInfo& with_bayer_pattern(const PixelFormatInfo& bayer, PLOX_IPL_BAYER_PATTERN pattern) {
    for (const PixelFormatInfo& f : kTable) {
        if (f.family == bayer.family && f.bayer == pattern && f.significant_bits == bayer.significant_bits &&
            f.storage_bits == bayer.storage_bits && f.packing == bayer.packing)
            return f;
    }
    fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, bayer.name, " has no twin with another Bayer pattern");
}

}  // namespace plox::ipl::lib
