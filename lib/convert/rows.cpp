#include "rows.h"

#include <cstring>
#include <utility>
#include <vector>

#include "colour.h"
#include "packing.h"

namespace plox::ipl::lib {

namespace {

// Position of R, G, B, A in a stored pixel of an unpacked RGB-family format.
struct ChannelOrder {
    int r, g, b, a;
};

ChannelOrder order_of(const PixelFormatInfo& format) {
    const bool bgr = format.family == Family::bgr || format.family == Family::bgra;
    return bgr ? ChannelOrder{2, 1, 0, 3} : ChannelOrder{0, 1, 2, 3};
}

template <class T>
void read_colour(const T* in, std::size_t width, std::size_t channels, ChannelOrder order, std::uint16_t* out) {
    for (std::size_t x = 0; x < width; ++x, in += channels, out += channels) {
        out[0] = in[order.r];
        out[1] = in[order.g];
        out[2] = in[order.b];
        if (channels == 4) out[3] = in[order.a];
    }
}

template <class T>
void write_colour(const std::uint16_t* in, std::size_t width, std::size_t channels, ChannelOrder order, T* out) {
    for (std::size_t x = 0; x < width; ++x, in += channels, out += channels) {
        out[order.r] = static_cast<T>(in[0]);
        out[order.g] = static_cast<T>(in[1]);
        out[order.b] = static_cast<T>(in[2]);
        if (channels == 4) out[order.a] = static_cast<T>(in[3]);
    }
}

void decode_uyvy(const std::uint8_t* in, std::size_t width, std::uint16_t* out) {
    for (std::size_t x = 0; x < width; x += 2) {
        const int u = in[2 * x], y0 = in[2 * x + 1], v = in[2 * x + 2];
        const Rgb8 first = yuv_to_rgb(y0, u, v);
        out[3 * x] = first.r, out[3 * x + 1] = first.g, out[3 * x + 2] = first.b;
        if (x + 1 < width) {
            const Rgb8 second = yuv_to_rgb(in[2 * x + 3], u, v);
            out[3 * x + 3] = second.r, out[3 * x + 4] = second.g, out[3 * x + 5] = second.b;
        }
    }
}

void decode_semiplanar(const Image& image, std::size_t y, std::uint16_t* out) {
    const std::size_t width = image.width();
    const std::uint8_t* luma_row = image.data() + y * width;
    const std::uint8_t* chroma_row = image.data() + width * image.height() + (y / 2) * width;
    const bool v_first = image.format().code == PLOX_IPL_PIXEL_FORMAT_YUV420_8_YY_VU_SemiplanarUMB;
    for (std::size_t x = 0; x < width; ++x) {
        const std::size_t pair = x & ~std::size_t{1};
        const int u = chroma_row[pair + (v_first ? 1 : 0)];
        const int v = chroma_row[pair + (v_first ? 0 : 1)];
        const Rgb8 rgb = yuv_to_rgb(luma_row[x], u, v);
        out[3 * x] = rgb.r, out[3 * x + 1] = rgb.g, out[3 * x + 2] = rgb.b;
    }
}

void encode_uyvy(const std::uint16_t* rgb, std::size_t width, std::uint8_t* out) {
    for (std::size_t x = 0; x < width; x += 2) {
        const std::uint16_t* a = rgb + 3 * x;
        const std::uint16_t* b = a + 3;
        out[2 * x] = chroma_byte(chroma_u_scaled(a[0], a[1], a[2]) + chroma_u_scaled(b[0], b[1], b[2]), 2);
        out[2 * x + 1] = static_cast<std::uint8_t>(luma(a[0], a[1], a[2]));
        out[2 * x + 2] = chroma_byte(chroma_v_scaled(a[0], a[1], a[2]) + chroma_v_scaled(b[0], b[1], b[2]), 2);
        out[2 * x + 3] = static_cast<std::uint8_t>(luma(b[0], b[1], b[2]));
    }
}

}  // namespace

RowKind row_kind(const PixelFormatInfo& format) {
    switch (format.family) {
        case Family::rgb:
        case Family::bgr:
        case Family::yuv422:
        case Family::yuv420: return RowKind::rgb;
        case Family::rgba:
        case Family::bgra: return RowKind::rgba;
        default: return RowKind::gray;
    }
}

unsigned row_depth(const PixelFormatInfo& format) { return format.is_yuv() ? 8 : format.significant_bits; }

void decode_row(const Image& image, std::size_t y, std::uint16_t* out) {
    const PixelFormatInfo& format = image.format();
    const std::size_t width = image.width();
    if (format.family == Family::yuv420) return decode_semiplanar(image, y, out);
    if (format.family == Family::yuv422) return decode_uyvy(image.data() + y * image.format().storage_size(width), width, out);
    if (format.packing != Packing::none) {
        const std::size_t values = width * format.channels;
        unpack_values(format, image.data(), y * values, values, out);
        if (format.family == Family::bgr) {
            for (std::size_t x = 0; x < width; ++x) std::swap(out[3 * x], out[3 * x + 2]);
        }
        return;
    }
    const std::uint8_t* row = image.data() + y * format.storage_size(width);
    const std::size_t channels = format.channels;
    if (row_kind(format) == RowKind::gray) {
        if (format.storage_bits == 8) {
            for (std::size_t x = 0; x < width; ++x) out[x] = row[x];
        } else {
            std::memcpy(out, row, width * 2);
        }
        return;
    }
    if (format.storage_bits == 8) {
        read_colour(row, width, channels, order_of(format), out);
    } else {
        read_colour(reinterpret_cast<const std::uint16_t*>(row), width, channels, order_of(format), out);
    }
}

void encode_row(const std::uint16_t* in, Image& image, std::size_t y) {
    const PixelFormatInfo& format = image.format();
    const std::size_t width = image.width();
    if (format.family == Family::yuv422) return encode_uyvy(in, width, image.data() + y * format.storage_size(width));
    if (format.packing != Packing::none) {
        if (format.family == Family::bgr) {
            // Packing reads the channels in stored order.
            thread_local std::vector<std::uint16_t> swapped;
            swapped.assign(in, in + 3 * width);
            for (std::size_t x = 0; x < width; ++x) std::swap(swapped[3 * x], swapped[3 * x + 2]);
            return pack_values(format, swapped.data(), y * width * 3, width * 3, image.data());
        }
        return pack_values(format, in, y * width * format.channels, width * format.channels, image.data());
    }
    std::uint8_t* row = image.data() + y * format.storage_size(width);
    if (row_kind(format) == RowKind::gray) {
        if (format.storage_bits == 8) {
            for (std::size_t x = 0; x < width; ++x) row[x] = static_cast<std::uint8_t>(in[x]);
        } else {
            std::memcpy(row, in, width * 2);
        }
        return;
    }
    if (format.storage_bits == 8) {
        write_colour(in, width, format.channels, order_of(format), row);
    } else {
        write_colour(in, width, format.channels, order_of(format), reinterpret_cast<std::uint16_t*>(row));
    }
}

void encode_yuv420_rows(const std::uint16_t* row, const std::uint16_t* next, Image& image, std::size_t y) {
    const std::size_t width = image.width();
    std::uint8_t* luma_rows = image.data() + y * width;
    std::uint8_t* chroma = image.data() + width * image.height() + (y / 2) * width;
    const bool v_first = image.format().code == PLOX_IPL_PIXEL_FORMAT_YUV420_8_YY_VU_SemiplanarUMB;
    for (std::size_t x = 0; x < width; ++x) {
        luma_rows[x] = static_cast<std::uint8_t>(luma(row[3 * x], row[3 * x + 1], row[3 * x + 2]));
        if (next != row)
            luma_rows[width + x] = static_cast<std::uint8_t>(luma(next[3 * x], next[3 * x + 1], next[3 * x + 2]));
    }
    for (std::size_t x = 0; x < width; x += 2) {
        int u = 0, v = 0;
        for (const std::uint16_t* r : {row, next}) {
            for (std::size_t dx = 0; dx < 2; ++dx) {
                const std::uint16_t* p = r + 3 * (x + dx);
                u += chroma_u_scaled(p[0], p[1], p[2]);
                v += chroma_v_scaled(p[0], p[1], p[2]);
            }
        }
        chroma[x + (v_first ? 1 : 0)] = chroma_byte(u, 4);
        chroma[x + (v_first ? 0 : 1)] = chroma_byte(v, 4);
    }
}

}  // namespace plox::ipl::lib
