#include "rows.h"

#include <cstring>
#include <vector>

#include "colour.h"
#include "packing.h"

namespace plox::ipl::lib {

namespace {

// Working rows hold R, G, B (and A) in this order; stored pixels as their layout says.
template <class T>
void read_colour(const T* in, std::size_t width, std::size_t channels, ChannelLayout order, std::uint16_t* out) {
    for (std::size_t x = 0; x < width; ++x, in += channels, out += channels) {
        out[0] = in[order.red];
        out[1] = in[order.green];
        out[2] = in[order.blue];
        if (channels == 4) out[3] = in[order.alpha];
    }
}

template <class T>
void write_colour(const std::uint16_t* in, std::size_t width, std::size_t channels, ChannelLayout order, T* out) {
    for (std::size_t x = 0; x < width; ++x, in += channels, out += channels) {
        out[order.red] = static_cast<T>(in[0]);
        out[order.green] = static_cast<T>(in[1]);
        out[order.blue] = static_cast<T>(in[2]);
        if (channels == 4) out[order.alpha] = static_cast<T>(in[3]);
    }
}

// Packed colour values in stored order, reordered in place to R, G, B (or back with `to_stored`).
void reorder_packed(std::uint16_t* values, std::size_t width, ChannelLayout order, bool to_stored) {
    if (order == kRgbLayout) return;
    for (std::size_t x = 0; x < width; ++x, values += 3) {
        const std::uint16_t pixel[3] = {values[0], values[1], values[2]};
        if (to_stored) {
            values[order.red] = pixel[0], values[order.green] = pixel[1], values[order.blue] = pixel[2];
        } else {
            values[0] = pixel[order.red], values[1] = pixel[order.green], values[2] = pixel[order.blue];
        }
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
    const std::uint8_t* luma_row = image.row(y);
    const std::uint8_t* chroma_row = image.row(image.height() + y / 2);
    const bool v_first = image.format().v_first;
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
    if (format.is_colour) return format.layout.has_alpha() ? RowKind::rgba : RowKind::rgb;
    return format.is_yuv() ? RowKind::rgb : RowKind::gray;
}

unsigned row_depth(const PixelFormatInfo& format) { return format.is_yuv() ? 8 : format.significant_bits; }

void decode_row(const Image& image, std::size_t y, std::uint16_t* out) {
    const PixelFormatInfo& format = image.format();
    const std::size_t width = image.width();
    if (format.family == Family::yuv420) return decode_semiplanar(image, y, out);
    if (format.family == Family::yuv422) return decode_uyvy(image.row(y), width, out);
    if (format.packing != Packing::none) {
        const std::size_t values = width * format.channels;
        unpack_values(format, image.data(), y * values, values, out);
        if (format.is_colour) reorder_packed(out, width, format.layout, false);
        return;
    }
    const std::uint8_t* row = image.row(y);
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
        read_colour(row, width, channels, format.layout, out);
    } else {
        read_colour(reinterpret_cast<const std::uint16_t*>(row), width, channels, format.layout, out);
    }
}

void encode_row(const std::uint16_t* in, Image& image, std::size_t y) {
    const PixelFormatInfo& format = image.format();
    const std::size_t width = image.width();
    if (format.family == Family::yuv422) return encode_uyvy(in, width, image.row(y));
    if (format.packing != Packing::none) {
        if (format.is_colour && !(format.layout == kRgbLayout)) {
            // Packing reads the channels in stored order.
            thread_local std::vector<std::uint16_t> stored;
            stored.assign(in, in + 3 * width);
            reorder_packed(stored.data(), width, format.layout, true);
            return pack_values(format, stored.data(), y * width * 3, width * 3, image.data());
        }
        return pack_values(format, in, y * width * format.channels, width * format.channels, image.data());
    }
    std::uint8_t* row = image.row(y);
    if (row_kind(format) == RowKind::gray) {
        if (format.storage_bits == 8) {
            for (std::size_t x = 0; x < width; ++x) row[x] = static_cast<std::uint8_t>(in[x]);
        } else {
            std::memcpy(row, in, width * 2);
        }
        return;
    }
    if (format.storage_bits == 8) {
        write_colour(in, width, format.channels, format.layout, row);
    } else {
        write_colour(in, width, format.channels, format.layout, reinterpret_cast<std::uint16_t*>(row));
    }
}

void encode_yuv420_rows(const std::uint16_t* row, const std::uint16_t* next, Image& image, std::size_t y) {
    const std::size_t width = image.width();
    std::uint8_t* luma_rows = image.row(y);
    std::uint8_t* chroma = image.row(image.height() + y / 2);
    const bool v_first = image.format().v_first;
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
