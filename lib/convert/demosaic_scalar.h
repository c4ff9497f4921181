// Scalar demosaicing of one row: the reference arithmetic that the SIMD rows reproduce bit for
// bit, and the border columns of every row.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "../core/strip_runner.h"
#include "demosaic.h"

namespace plox::ipl::lib::demosaic_detail {

// Which colours a row holds. The row's non-green colour is called A, the other one O.
struct RowKind {
    bool green_even;  // green sits at even columns
    bool red_row;     // A is red
};

inline RowKind row_kind(PLOX_IPL_BAYER_PATTERN pattern, std::size_t row) {
    const bool green_even = bayer_colour(pattern, 0, row) == Colour::green;
    return {green_even, bayer_colour(pattern, green_even ? 1 : 0, row) == Colour::red};
}

// One band row with its neighbours: rows[0..4] are rows y-2..y+2.
template <class T>
struct RowWindow {
    const T* rows[5];
    std::size_t width;
    RowKind kind;
    std::uint32_t max_value;  // already limited to T's range
    ChannelLayout layout;
    T* out;
};

// Rounds s / 2^shift to nearest (halves up) and clamps to 0..max; floor division keeps it exact
// for negative sums without relying on signed shifts.
template <int shift>
inline std::uint32_t round_clamp(std::int32_t s, std::uint32_t max_value) noexcept {
    s += 1 << (shift - 1);
    if (s < 0) return 0;
    return std::min(static_cast<std::uint32_t>(s) >> shift, max_value);
}

// Demosaics columns [x_begin, x_end) of a row. `Column(dx)` maps x + dx to a stored column.
template <class T, DemosaicMethod method, class Column>
inline void scalar_pixel(const RowWindow<T>& w, std::size_t x, Column column) noexcept {
    const auto px = [&](int dy, int dx) -> std::int32_t { return w.rows[dy + 2][column(dx)]; };
    const std::uint32_t max_value = w.max_value;
    const bool green = ((x & 1) == 0) == w.kind.green_even;
    std::uint32_t a, g, o;
    if (method == DemosaicMethod::bilinear) {
        if (!green) {
            a = px(0, 0);
            g = (px(0, -1) + px(0, 1) + px(-1, 0) + px(1, 0) + 2) >> 2;
            o = (px(-1, -1) + px(-1, 1) + px(1, -1) + px(1, 1) + 2) >> 2;
        } else {
            g = px(0, 0);
            a = (px(0, -1) + px(0, 1) + 1) >> 1;
            o = (px(-1, 0) + px(1, 0) + 1) >> 1;
        }
        a = std::min(a, max_value);
        g = std::min(g, max_value);
        o = std::min(o, max_value);
    } else {
        const std::int32_t c = px(0, 0);
        const std::int32_t h1 = px(0, -1) + px(0, 1), h2 = px(0, -2) + px(0, 2);
        const std::int32_t v1 = px(-1, 0) + px(1, 0), v2 = px(-2, 0) + px(2, 0);
        const std::int32_t diag = px(-1, -1) + px(-1, 1) + px(1, -1) + px(1, 1);
        if (!green) {
            a = std::min(static_cast<std::uint32_t>(c), max_value);
            g = round_clamp<3>(4 * c + 2 * (h1 + v1) - (h2 + v2), max_value);
            o = round_clamp<4>(12 * c + 4 * diag - 3 * (h2 + v2), max_value);
        } else {
            g = std::min(static_cast<std::uint32_t>(c), max_value);
            a = round_clamp<4>(10 * c + 8 * h1 - 2 * diag - 2 * h2 + v2, max_value);
            o = round_clamp<4>(10 * c + 8 * v1 - 2 * diag - 2 * v2 + h2, max_value);
        }
    }
    T* p = w.out + x * static_cast<std::size_t>((w.layout.has_alpha() ? 4 : 3));
    p[w.layout.red] = static_cast<T>(w.kind.red_row ? a : o);
    p[w.layout.green] = static_cast<T>(g);
    p[w.layout.blue] = static_cast<T>(w.kind.red_row ? o : a);
    if (w.layout.alpha >= 0) p[w.layout.alpha] = static_cast<T>(max_value);
}

template <class T, DemosaicMethod method>
inline void scalar_columns(const RowWindow<T>& w, std::size_t x_begin, std::size_t x_end) noexcept {
    const std::size_t width = w.width;
    for (std::size_t x = x_begin; x < x_end; ++x) {
        if (x >= 2 && x + 2 < width) {
            scalar_pixel<T, method>(w, x, [x](int dx) { return x + static_cast<std::ptrdiff_t>(dx); });
        } else {
            scalar_pixel<T, method>(w, x, [x, width](int dx) {
                return mirror_index(static_cast<std::ptrdiff_t>(x) + dx, width);
            });
        }
    }
}

template <class T>
inline void scalar_columns(const RowWindow<T>& w, DemosaicMethod method, std::size_t x_begin,
                           std::size_t x_end) noexcept {
    if (method == DemosaicMethod::gradient_corrected) {
        scalar_columns<T, DemosaicMethod::gradient_corrected>(w, x_begin, x_end);
    } else {
        scalar_columns<T, DemosaicMethod::bilinear>(w, x_begin, x_end);
    }
}

// A whole call: the band and where its output goes.
template <class T>
struct Band {
    const T* mosaic;
    std::ptrdiff_t mosaic_stride;
    std::size_t width;
    std::size_t rows;
    PLOX_IPL_BAYER_PATTERN pattern;
    DemosaicMethod method;
    std::uint32_t max_value;  // already limited to T's range
    ChannelLayout layout;
    T* out;
    std::ptrdiff_t out_stride;
};

template <class T>
inline RowWindow<T> row_window(const Band<T>& band, std::size_t row) noexcept {
    RowWindow<T> w{};
    for (int k = 0; k < 5; ++k) {
        w.rows[k] = band.mosaic + (static_cast<std::ptrdiff_t>(row) + k - 2) * band.mosaic_stride;
    }
    w.width = band.width;
    w.kind = row_kind(band.pattern, row);
    w.max_value = band.max_value;
    w.layout = band.layout;
    w.out = band.out + static_cast<std::ptrdiff_t>(row) * band.out_stride;
    return w;
}

template <class T>
inline void scalar_band(const Band<T>& band) noexcept {
    for (std::size_t row = 0; row < band.rows; ++row) {
        scalar_columns(row_window(band, row), band.method, 0, band.width);
    }
}

}  // namespace plox::ipl::lib::demosaic_detail
