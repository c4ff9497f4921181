#include "bmp.h"

#include <array>
#include <cstring>

#include "../core/error.h"

namespace plox::ipl::lib {
namespace {

constexpr std::size_t kFileHeaderSize = 14;
constexpr std::uint32_t kInfoHeaderSize = 40;   // BITMAPINFOHEADER
constexpr std::uint32_t kV4HeaderSize = 108;    // BITMAPV4HEADER: colour masks with alpha
constexpr std::uint32_t kBiRgb = 0, kBiRle8 = 1, kBiRle4 = 2, kBiBitfields = 3, kBiJpeg = 4, kBiPng = 5,
                        kBiAlphaBitfields = 6;
constexpr std::int32_t kPixelsPerMetre = 2835;  // 72 dpi, what most writers put there
constexpr std::uint32_t kSrgbColourSpace = 0x73524742;  // 'sRGB'

void put16(std::uint8_t* at, std::uint32_t v) {
    at[0] = static_cast<std::uint8_t>(v);
    at[1] = static_cast<std::uint8_t>(v >> 8);
}

void put32(std::uint8_t* at, std::uint32_t v) {
    put16(at, v & 0xFFFF);
    put16(at + 2, v >> 16);
}

std::uint32_t get16(const std::uint8_t* at) { return std::uint32_t{at[0]} | std::uint32_t{at[1]} << 8; }
std::uint32_t get32(const std::uint8_t* at) { return get16(at) | get16(at + 2) << 16; }
std::int32_t get_signed32(const std::uint8_t* at) {
    const std::uint32_t v = get32(at);
    return v <= INT32_MAX ? static_cast<std::int32_t>(v) : -static_cast<std::int32_t>(~v) - 1;
}

// Bytes per stored row: rows are padded to whole 32-bit words.
std::uint64_t row_stride(std::uint64_t width, unsigned bits_per_pixel) {
    return (width * bits_per_pixel + 31) / 32 * 4;
}

// The byte of a 32-bit pixel a mask selects, or -1 for no mask. Only whole-byte masks are read;
// they are all that 32-bit writers use.
int mask_byte(std::uint32_t mask, const char* name, bool optional) {
    if (mask == 0 && optional) return -1;
    for (int byte = 0; byte < 4; ++byte)
        if (mask == std::uint32_t{0xFF} << (8 * byte)) return byte;
    fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, "32-bit BMP with ", name, " mask 0x", std::hex, mask,
         " is not supported; only whole-byte masks are");
}

}  // namespace

Encoded encode_bmp(const RasterView& raster) {
    if (raster.bits != 8)
        fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, "BMP files are written from 8-bit samples only, not ",
             raster.bits, "-bit");
    if (raster.channels != 1 && raster.channels != 3 && raster.channels != 4)
        fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, "BMP files are written from 1, 3 or 4 channels, not ",
             raster.channels);
    if (raster.width == 0 || raster.height == 0 || raster.width > INT32_MAX || raster.height > INT32_MAX)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "BMP size ", raster.width, "x", raster.height,
             " is outside 1..", INT32_MAX, " per side");
    if (!raster.data) fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "BMP encoder got no pixel data");

    const unsigned channels = raster.channels;
    // Alpha needs the V4 header: readers ignore the fourth byte of 32-bit BI_RGB pixels and the
    // alpha mask is only honoured in V4 and later headers.
    const std::uint32_t header = channels == 4 ? kV4HeaderSize : kInfoHeaderSize;
    const std::uint32_t palette = channels == 1 ? 256 * 4 : 0;
    const std::uint32_t offset = kFileHeaderSize + header + palette;
    const std::uint64_t stride = row_stride(raster.width, 8 * channels);
    const std::uint64_t image_bytes = stride * raster.height;
    const std::uint64_t file_size = offset + image_bytes;
    if (file_size > UINT32_MAX)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "BMP file for ", raster.width, "x", raster.height, "x", channels,
             " would take ", file_size, " bytes; BMP files hold at most ", UINT32_MAX);

    Buffer file = allocate_buffer(static_cast<std::size_t>(file_size), Fill::none);
    std::uint8_t* out = file.get();
    std::memset(out, 0, offset);
    out[0] = 'B', out[1] = 'M';
    put32(out + 2, static_cast<std::uint32_t>(file_size));
    put32(out + 10, offset);
    std::uint8_t* info = out + kFileHeaderSize;
    put32(info, header);
    put32(info + 4, static_cast<std::uint32_t>(raster.width));
    put32(info + 8, static_cast<std::uint32_t>(raster.height));  // positive: bottom-up rows
    put16(info + 12, 1);
    put16(info + 14, 8 * channels);
    put32(info + 16, channels == 4 ? kBiBitfields : kBiRgb);
    put32(info + 20, static_cast<std::uint32_t>(image_bytes));
    put32(info + 24, kPixelsPerMetre);
    put32(info + 28, kPixelsPerMetre);
    if (channels == 1) {
        put32(info + 32, 256);
        for (std::uint32_t i = 0; i < 256; ++i) put32(out + kFileHeaderSize + header + 4 * i, i * 0x010101);
    } else if (channels == 4) {
        put32(info + 40, 0x00FF0000);
        put32(info + 44, 0x0000FF00);
        put32(info + 48, 0x000000FF);
        put32(info + 52, 0xFF000000);
        put32(info + 56, kSrgbColourSpace);
    }

    const std::size_t width = raster.width, row_bytes = width * channels;
    for (std::size_t y = 0; y < raster.height; ++y) {
        const std::uint8_t* src = raster.data + y * row_bytes;
        std::uint8_t* row = out + offset + (raster.height - 1 - y) * stride;
        std::memset(row + row_bytes, 0, stride - row_bytes);
        std::uint8_t* dst = row;
        if (channels == 1) {
            std::memcpy(dst, src, width);
        } else if (channels == 3) {
            for (std::size_t x = 0; x < width; ++x, src += 3, dst += 3)
                dst[0] = src[2], dst[1] = src[1], dst[2] = src[0];
        } else {
            for (std::size_t x = 0; x < width; ++x, src += 4, dst += 4)
                dst[0] = src[2], dst[1] = src[1], dst[2] = src[0], dst[3] = src[3];
        }
    }
    return Encoded{file, static_cast<std::size_t>(file_size)};
}

Raster decode_bmp(const std::uint8_t* data, std::size_t size) {
    if (!data || size < kFileHeaderSize + 4 || data[0] != 'B' || data[1] != 'M')
        fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "not a BMP file: ",
             !data || size < kFileHeaderSize + 4 ? "shorter than its headers" : "no 'BM' signature");
    const std::uint32_t offset = get32(data + 10);
    const std::uint32_t header = get32(data + 14);
    if (header != 40 && header != 52 && header != 56 && header != 108 && header != 124)
        fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, "BMP info header of ", header,
             " bytes is not supported; 40, 52, 56, 108 and 124 are");
    if (size < kFileHeaderSize + header)
        fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "BMP file of ", size, " bytes ends inside its ", header, "-byte header");
    const std::uint8_t* info = data + kFileHeaderSize;
    const std::int32_t width = get_signed32(info + 4), signed_height = get_signed32(info + 8);
    const unsigned bits = get16(info + 14);
    const std::uint32_t compression = get32(info + 16), colours_used = get32(info + 32);

    if (compression == kBiRle8 || compression == kBiRle4 || compression == kBiJpeg || compression == kBiPng)
        fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, "compressed BMP files (compression ", compression,
             ") are not supported");
    const bool bitfields = compression == kBiBitfields || compression == kBiAlphaBitfields;
    if (compression != kBiRgb && !(bitfields && bits == 32))
        fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, "BMP compression ", compression, " with ", bits,
             " bits per pixel is not supported");
    if (bits != 1 && bits != 4 && bits != 8 && bits != 24 && bits != 32)
        fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, bits,
             "-bit BMP files are not supported; 1, 4, 8, 24 and 32-bit are");
    if (width <= 0 || signed_height == 0)
        fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "BMP size ", width, "x", signed_height, " is not a picture");
    const bool top_down = signed_height < 0;
    const std::uint64_t w = static_cast<std::uint64_t>(width);
    const std::uint64_t h = static_cast<std::uint64_t>(top_down ? -std::int64_t{signed_height} : signed_height);

    // The channel layout: a palette, or the byte of each channel in a 32-bit pixel.
    std::array<std::array<std::uint8_t, 3>, 256> colours{};  // indices past the palette read black
    bool grey = false;
    int red = 2, green = 1, blue = 0, alpha = -1;
    const std::size_t tables = kFileHeaderSize + header;  // where a palette or masks begin
    if (bits <= 8) {
        const std::uint32_t entries = 1u << bits;
        if (colours_used > entries)
            fail(PLOX_IPL_RETURN_CODE_IO_ERROR, bits, "-bit BMP claims ", colours_used, " palette colours, more than ",
                 entries);
        const std::uint32_t count = colours_used ? colours_used : entries;
        if (tables + std::uint64_t{count} * 4 > size)
            fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "BMP palette of ", count, " colours runs past the end of the ", size,
                 "-byte file");
        grey = true;
        for (std::uint32_t i = 0; i < count; ++i) {
            const std::uint8_t* entry = data + tables + 4 * i;
            colours[i] = {entry[2], entry[1], entry[0]};
            grey = grey && entry[0] == entry[1] && entry[1] == entry[2];
        }
    } else if (bits == 32) {
        std::uint32_t masks[4] = {0x00FF0000, 0x0000FF00, 0x000000FF, 0};
        // The fourth byte of a plain 32-bit pixel is padding, unless a V3 or later header names
        // it alpha; other masks in such a header mean nothing without BI_BITFIELDS.
        if (!bitfields && header >= 56 && get32(info + 52) == 0xFF000000) masks[3] = 0xFF000000;
        if (bitfields) {
            unsigned count = header >= 56 ? 4 : 3;
            if (header == kInfoHeaderSize) {  // the masks follow a 40-byte header, else are inside it
                count = compression == kBiAlphaBitfields ? 4 : 3;
                if (tables + 4 * count > size)
                    fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "BMP colour masks run past the end of the ", size,
                         "-byte file");
            }
            for (unsigned i = 0; i < count; ++i) masks[i] = get32(info + 40 + 4 * i);
        }
        red = mask_byte(masks[0], "red", false);
        green = mask_byte(masks[1], "green", false);
        blue = mask_byte(masks[2], "blue", false);
        alpha = mask_byte(masks[3], "alpha", true);
    }

    Raster raster;
    raster.width = static_cast<std::size_t>(w);
    raster.height = static_cast<std::size_t>(h);
    raster.channels = grey ? 1 : alpha >= 0 ? 4 : 3;
    const std::uint64_t bytes = w * h * raster.channels;
    const std::uint64_t stride = row_stride(w, bits);
    check_claim("BMP", w, h, saturated_product(stride, h), bytes, size);
    // Safe from overflow: the claim check bounds stride * h by the file size.
    if (offset < kFileHeaderSize + header || offset + stride * h > size)
        fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "BMP pixels of ", w, "x", h, " at ", bits, " bits need ", stride * h,
             " bytes from offset ", offset, ", but the file has ", size, " bytes and its headers take ",
             kFileHeaderSize + header);

    raster.pixels = allocate_buffer(static_cast<std::size_t>(bytes), Fill::none);
    const std::size_t out_row = static_cast<std::size_t>(w) * raster.channels;
    for (std::size_t y = 0; y < raster.height; ++y) {
        const std::uint8_t* src = data + offset + (top_down ? y : raster.height - 1 - y) * stride;
        std::uint8_t* dst = raster.pixels.get() + y * out_row;
        if (bits <= 8) {
            const unsigned per_byte = 8 / bits, mask = (1u << bits) - 1;
            for (std::size_t x = 0; x < raster.width; ++x) {
                const unsigned shift = 8 - bits * (1 + static_cast<unsigned>(x % per_byte));
                const auto& colour = colours[(src[x / per_byte] >> shift) & mask];
                if (grey) {
                    *dst++ = colour[0];
                } else {
                    dst[0] = colour[0], dst[1] = colour[1], dst[2] = colour[2];
                    dst += 3;
                }
            }
        } else if (bits == 24) {
            for (std::size_t x = 0; x < raster.width; ++x, src += 3, dst += 3)
                dst[0] = src[2], dst[1] = src[1], dst[2] = src[0];
        } else if (alpha >= 0) {
            for (std::size_t x = 0; x < raster.width; ++x, src += 4, dst += 4)
                dst[0] = src[red], dst[1] = src[green], dst[2] = src[blue], dst[3] = src[alpha];
        } else {
            for (std::size_t x = 0; x < raster.width; ++x, src += 4, dst += 3)
                dst[0] = src[red], dst[1] = src[green], dst[2] = src[blue];
        }
    }
    return raster;
}

}  // namespace plox::ipl::lib
