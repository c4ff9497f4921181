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

// One band row with its neighbours: rows[0..2] are rows y-1..y+1.
template <class T>
struct RowWindow {
    const T* rows[3];
    std::size_t width;
    RowKind kind;
    std::uint32_t max_value;  // already limited to T's range
    ChannelLayout layout;
    T* out;
};

// Demosaics columns [x_begin, x_end) of a row. `Column(dx)` maps x + dx to a stored column.
template <class T, class Column>
inline void scalar_pixel(const RowWindow<T>& w, std::size_t x, Column column) noexcept {
    const auto px = [&](int dy, int dx) -> std::uint32_t { return w.rows[dy + 1][column(dx)]; };
    const std::uint32_t max_value = w.max_value;
    const bool green = ((x & 1) == 0) == w.kind.green_even;
    std::uint32_t a, g, o;
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
    T* p = w.out + x * static_cast<std::size_t>((w.layout.has_alpha() ? 4 : 3));
    p[w.layout.red] = static_cast<T>(w.kind.red_row ? a : o);
    p[w.layout.green] = static_cast<T>(g);
    p[w.layout.blue] = static_cast<T>(w.kind.red_row ? o : a);
    if (w.layout.alpha >= 0) p[w.layout.alpha] = static_cast<T>(max_value);
}

template <class T>
inline void scalar_columns(const RowWindow<T>& w, std::size_t x_begin, std::size_t x_end) noexcept {
    const std::size_t width = w.width;
    for (std::size_t x = x_begin; x < x_end; ++x) {
        if (x >= 1 && x + 1 < width) {
            scalar_pixel<T>(w, x, [x](int dx) { return x + static_cast<std::ptrdiff_t>(dx); });
        } else {
            scalar_pixel<T>(w, x, [x, width](int dx) {
                return mirror_index(static_cast<std::ptrdiff_t>(x) + dx, width);
            });
        }
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
    std::uint32_t max_value;  // already limited to T's range
    ChannelLayout layout;
    T* out;
    std::ptrdiff_t out_stride;
};

template <class T>
inline RowWindow<T> row_window(const Band<T>& band, std::size_t row) noexcept {
    RowWindow<T> w{};
    for (int k = 0; k < 3; ++k) {
        w.rows[k] = band.mosaic + (static_cast<std::ptrdiff_t>(row) + k - 1) * band.mosaic_stride;
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
        scalar_columns(row_window(band, row), 0, band.width);
    }
}

}  // namespace plox::ipl::lib::demosaic_detail
