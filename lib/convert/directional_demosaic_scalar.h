// Directional demosaicing (gradient-based threshold-free, after Pekkucuksen and Altunbasak, ICIP
// 2010, with Hamilton-Adams directional green estimates), in integers:
//
//   c4h = s (P[x-2] - 2P[x-1] + 2P[x] - 2P[x+1] + P[x+2]), s = +1 at red/blue sites, -1 at green
//         (four times the colour difference along the row; c4v along the column)
//   dh  = min(|c4h[x+1] - c4h[x-1]| >> shift, 255), shift = bits - 8 for deeper data
//   Sh  = 4 + 5x5 sum of dh;  csh = c4h[x-1] + 2 c4h[x] + c4h[x+1]   (and Sv, csv)
//   q   = [8Sv >= 3Sh] + [4Sv >= 3Sh] + [3Sv >= 4Sh] + [3Sv >= 8Sh]  (the row's weight in quarters)
//   G   = clamp((64 P - (q csh + (4 - q) csv) + 32) >> 6) at red/blue sites;  D = P - G
//   then R and B from G plus the mean D of the two (green sites) or four diagonal (red/blue)
//   neighbours that hold that colour, rounded half up.
//
// A band is streamed row by row, in column tiles for very wide images, through small rings of
// stage rows that stay in the L2 cache. Stage rows cover the tile's columns plus kHalo on each
// side: mirroring the mosaic once (x = -1 reads x = 1, which keeps the colour parity) equals
// mirroring every stage, because every stage is symmetric. This file holds the driver and the
// scalar stages, which are the reference for the SIMD ones.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "../core/strip_runner.h"
#include "demosaic_scalar.h"

namespace plox::ipl::lib::directional_detail {

using demosaic_detail::RowKind;
using demosaic_detail::row_kind;

inline constexpr auto kHalo = static_cast<std::ptrdiff_t>(demosaic_halo(DemosaicMethod::directional));
// Stage rows stay readable this far left and right of their computed span (stages reach 2).
inline constexpr std::ptrdiff_t kMargin = 8;
// The computed span is a multiple of this, so whole vectors of any target cover it.
inline constexpr std::size_t kSpanUnit = 64;
// The widest span: 40 stage rows of 16-bit values then take about 330 KiB, which stays in L2.
// Whole rows measured faster than L1-sized tiles, whose strided input and output cost more.
inline constexpr std::size_t kTileSpan = 4160;

// Stage rows hold 16-bit integers for 8-bit data (every stage fits) and 32-bit ones otherwise.
template <class T>
using Work = std::conditional_t<sizeof(T) == 1, std::int16_t, std::int32_t>;

// floor(v / 2^s), also for negative v, without relying on signed shifts.
template <int s>
inline std::int32_t floor_shift(std::int32_t v) noexcept {
    return v >= 0 ? v >> s : ~(~v >> s);
}

// The gradient shift that brings deeper data to the scale of 8 bits, so that the cap of 255
// and the 16-bit sums keep their meaning.
inline int gradient_shift(std::uint32_t max_value) noexcept {
    int bits = 0;
    while (bits < 32 && (max_value >> bits) != 0) ++bits;
    return std::max(bits - 8, 0);
}

template <class T>
struct Band {
    const T* mosaic;  // first band row; kHalo rows above and below are readable
    std::ptrdiff_t mosaic_stride;
    std::size_t width;
    std::size_t rows;
    PLOX_IPL_BAYER_PATTERN pattern;
    std::uint32_t max_value;  // already limited to T's range
    ChannelLayout layout;
    T* out;
    std::ptrdiff_t out_stride;
};

// The rows the green stage reads and writes for band row g.
template <class W>
struct GreenRows {
    const W* p;           // P[g]
    const W* c4h;         // c4h[g]
    const W* c4v[3];      // c4v[g-1..g+1]
    // dh summed over x-2..x+2 (dh5) and over rows g-2..g+2: sum_h holds rows g-2..g+1 and moves on
    // to g-1..g+2 by adding dh5[g+2] and taking dh5[g-2] out. Likewise for dv.
    W* sum_h;
    W* sum_v;
    const W* dh5_in;   // dh5[g+2]
    const W* dh5_out;  // dh5[g-2]
    const W* dv5_in;
    const W* dv5_out;
    W* g;
    W* d;
};

// The rows the output stage reads for band row y, and where the pixels go.
template <class W, class T>
struct OutputRows {
    const W* p;     // P[y]
    const W* g;     // G[y]
    const W* d[3];  // D[y-1..y+1]
    T* out;
};

// Stage arguments shared by every row of a tile: `span` columns are computed, from kHalo columns
// left of the tile's first image column x0 (even, so stage columns keep the image's parity);
// pointers address that first column and stay readable kMargin beyond both ends.
struct Geometry {
    std::size_t width;    // of the image
    std::size_t x0;       // first image column of the tile
    std::size_t columns;  // output columns of the tile
    std::ptrdiff_t span;
    std::int32_t max_value;
    int shift;
    ChannelLayout layout;
};

inline bool green_at(const RowKind& kind, std::ptrdiff_t e) noexcept {
    // Stage column e is image column x0 + e - kHalo, of the same parity.
    return ((e & 1) == 0) == kind.green_even;
}

inline std::ptrdiff_t used_columns(const Geometry& geo) noexcept {
    return static_cast<std::ptrdiff_t>(geo.columns) + 2 * kHalo;
}

// Image column x mirrored into 0..width-1; a single reflection covers all but tiny widths.
inline std::size_t mirror_column(std::ptrdiff_t x, std::size_t width) noexcept {
    const auto w = static_cast<std::ptrdiff_t>(width);
    const std::ptrdiff_t once = x < 0 ? -x : x >= w ? 2 * (w - 1) - x : x;
    return once >= 0 && once < w ? static_cast<std::size_t>(once) : mirror_index(x, width);
}

template <class T>
struct ScalarStages {
    using W = Work<T>;

    // Stage columns 0..columns + 2 kHalo - 1 feed the tile's output; the others read as 0.
    static void load(const T* row, const Geometry& geo, W* p) noexcept {
        const auto shift = static_cast<std::ptrdiff_t>(geo.x0) - kHalo;
        const std::ptrdiff_t used = used_columns(geo);
        std::fill(p - kMargin, p, W{0});
        for (std::ptrdiff_t e = 0; e < used; ++e) p[e] = static_cast<W>(row[mirror_column(shift + e, geo.width)]);
        std::fill(p + used, p + geo.span + kMargin, W{0});
    }

    static void horizontal(const W* p, RowKind kind, const Geometry& geo, W* c4h, W* scratch, W* dh5) noexcept {
        for (std::ptrdiff_t e = 0; e < geo.span; ++e) {
            const std::int32_t t = p[e - 2] + p[e + 2] + 2 * (p[e] - p[e - 1] - p[e + 1]);
            c4h[e] = static_cast<W>(green_at(kind, e) ? -t : t);
        }
        gradient_sums(c4h - 1, c4h + 1, geo, scratch, dh5);
    }

    static void vertical(const W* const p[5], RowKind kind, const Geometry& geo, W* c4v) noexcept {
        for (std::ptrdiff_t e = 0; e < geo.span; ++e) {
            const std::int32_t t = p[0][e] + p[4][e] + 2 * (p[2][e] - p[1][e] - p[3][e]);
            c4v[e] = static_cast<W>(green_at(kind, e) ? -t : t);
        }
    }

    // |after - before| on the 8-bit scale, capped so that 25 of them and 8 times their sum fit 16
    // bits, then summed over x-2..x+2.
    static void gradient_sums(const W* before, const W* after, const Geometry& geo, W* scratch, W* sums) noexcept {
        for (std::ptrdiff_t e = 0; e < geo.span; ++e) {
            const std::int32_t diff = after[e] - before[e];
            scratch[e] = static_cast<W>(std::min((diff < 0 ? -diff : diff) >> geo.shift, 255));
        }
        for (std::ptrdiff_t e = 0; e < geo.span; ++e) {
            sums[e] = static_cast<W>(scratch[e - 2] + scratch[e - 1] + scratch[e] + scratch[e + 1] + scratch[e + 2]);
        }
    }

    static void green(const GreenRows<W>& r, RowKind kind, const Geometry& geo) noexcept {
        for (std::ptrdiff_t e = 0; e < geo.span; ++e) {
            const std::int32_t sh = 4 + r.sum_h[e] + r.dh5_in[e], sv = 4 + r.sum_v[e] + r.dv5_in[e];
            r.sum_h[e] = static_cast<W>(sh - 4 - r.dh5_out[e]);
            r.sum_v[e] = static_cast<W>(sv - 4 - r.dv5_out[e]);
            if (green_at(kind, e)) {
                r.g[e] = r.p[e];
                r.d[e] = 0;
                continue;
            }
            const std::int32_t csh = r.c4h[e - 1] + 2 * r.c4h[e] + r.c4h[e + 1];
            const std::int32_t csv = r.c4v[0][e] + 2 * r.c4v[1][e] + r.c4v[2][e];
            const std::int32_t q = (8 * sv >= 3 * sh) + (4 * sv >= 3 * sh) + (3 * sv >= 4 * sh) + (3 * sv >= 8 * sh);
            const std::int32_t t = 64 * r.p[e] - (q * csh + (4 - q) * csv) + 32;
            const std::int32_t g = t < 0 ? 0 : std::min(t >> 6, geo.max_value);
            r.g[e] = static_cast<W>(g);
            r.d[e] = static_cast<W>(r.p[e] - g);
        }
    }

    // The vertical sums of the first green row's rows g-2..g+1.
    static void start_sums(const W* const rows[4], const Geometry& geo, W* sums) noexcept {
        for (std::ptrdiff_t e = 0; e < geo.span; ++e) {
            sums[e] = static_cast<W>(rows[0][e] + rows[1][e] + rows[2][e] + rows[3][e]);
        }
    }

    static void output(const OutputRows<W, T>& r, RowKind kind, const Geometry& geo) noexcept {
        const auto clamp = [&](std::int32_t v) {
            return static_cast<T>(v < 0 ? 0 : std::min(v, geo.max_value));
        };
        const std::size_t channels = geo.layout.has_alpha() ? 4 : 3;
        for (std::size_t x = 0; x < geo.columns; ++x) {
            const auto e = static_cast<std::ptrdiff_t>(x) + kHalo;  // x counts from the tile's first column
            const std::int32_t g = r.g[e];
            std::int32_t a, o;
            if (green_at(kind, e)) {
                a = g + floor_shift<1>(r.d[1][e - 1] + r.d[1][e + 1] + 1);
                o = g + floor_shift<1>(r.d[0][e] + r.d[2][e] + 1);
            } else {
                a = r.p[e];
                o = g + floor_shift<2>(r.d[0][e - 1] + r.d[0][e + 1] + r.d[2][e - 1] + r.d[2][e + 1] + 2);
            }
            T* px = r.out + x * channels;
            px[geo.layout.red] = clamp(kind.red_row ? a : o);
            px[geo.layout.green] = clamp(g);
            px[geo.layout.blue] = clamp(kind.red_row ? o : a);
            if (geo.layout.alpha >= 0) px[geo.layout.alpha] = static_cast<T>(geo.max_value);
        }
    }
};

// Stage rows of a tile: a ring per stage, as deep as the stages read back, each row kMargin wider
// on both sides.
template <class W>
class StageRows {
public:
    explicit StageRows(std::size_t span) : stride_(span + 2 * kMargin), storage_(stride_ * kRows) {}

    W* p(std::ptrdiff_t row) noexcept { return ring(0, 7, row); }  // P[k-6..k]
    W* c4h(std::ptrdiff_t row) noexcept { return ring(7, 6, row); }  // c4h[k-5..k]
    W* dh5(std::ptrdiff_t row) noexcept { return ring(13, 8, row); }  // dh5[k-7..k]
    W* c4v(std::ptrdiff_t row) noexcept { return ring(21, 5, row); }  // c4v[k-6..k-2]
    W* dv5(std::ptrdiff_t row) noexcept { return ring(26, 5, row); }  // dv5[k-7..k-3]
    W* g(std::ptrdiff_t row) noexcept { return ring(31, 3, row); }  // G[k-7..k-5]
    W* d(std::ptrdiff_t row) noexcept { return ring(34, 3, row); }  // D[k-7..k-5]
    W* scratch() noexcept { return at(37); }
    W* sum_h() noexcept { return at(38); }
    W* sum_v() noexcept { return at(39); }

private:
    static constexpr std::size_t kRows = 40;

    W* ring(std::size_t first, std::ptrdiff_t size, std::ptrdiff_t row) noexcept {
        return at(first + static_cast<std::size_t>((row % size + size) % size));
    }
    W* at(std::size_t index) noexcept { return storage_.data() + index * stride_ + kMargin; }

    std::size_t stride_;
    std::vector<W> storage_;  // zero-initialised, so margins that no stage writes are defined
};

// Runs the stages over a band, tile by tile. Row k of the mosaic feeds c4h/dh5[k], c4v[k-2],
// dv5[k-3], G/D[k-5] and the output row k-6.
template <class T, class Stages>
void run_band(const Band<T>& band) {
    using W = Work<T>;
    constexpr std::size_t max_columns = kTileSpan - 2 * kHalo;
    const std::size_t tiles = (band.width + max_columns - 1) / max_columns;
    const std::size_t tile_columns = ((band.width + tiles - 1) / tiles + 1) & ~std::size_t{1};
    const auto span_of = [](std::size_t columns) {
        return (columns + 2 * kHalo + kSpanUnit - 1) / kSpanUnit * kSpanUnit;
    };
    StageRows<W> s(span_of(tile_columns));
    const auto rows = static_cast<std::ptrdiff_t>(band.rows);
    const auto kind = [&](std::ptrdiff_t row) { return row_kind(band.pattern, static_cast<std::size_t>(row & 1)); };
    const std::size_t channels = band.layout.has_alpha() ? 4 : 3;
    for (std::size_t x0 = 0; x0 < band.width; x0 += tile_columns) {
        const std::size_t columns = std::min(tile_columns, band.width - x0);
        const std::size_t span = span_of(columns);
        const Geometry geo{band.width,
                           x0,
                           columns,
                           static_cast<std::ptrdiff_t>(span),
                           static_cast<std::int32_t>(band.max_value),
                           gradient_shift(band.max_value),
                           band.layout};
        for (std::ptrdiff_t k = -kHalo; k < rows + kHalo; ++k) {
            Stages::load(band.mosaic + k * band.mosaic_stride, geo, s.p(k));
            Stages::horizontal(s.p(k), kind(k), geo, s.c4h(k), s.scratch(), s.dh5(k));
            if (k >= 4 - kHalo) {
                const W* const p[5] = {s.p(k - 4), s.p(k - 3), s.p(k - 2), s.p(k - 1), s.p(k)};
                Stages::vertical(p, kind(k - 2), geo, s.c4v(k - 2));
            }
            if (k >= 6 - kHalo) Stages::gradient_sums(s.c4v(k - 4), s.c4v(k - 2), geo, s.scratch(), s.dv5(k - 3));
            const std::ptrdiff_t g = k - 5;
            if (g == -1) {
                const W* const dh5[4] = {s.dh5(g - 2), s.dh5(g - 1), s.dh5(g), s.dh5(g + 1)};
                const W* const dv5[4] = {s.dv5(g - 2), s.dv5(g - 1), s.dv5(g), s.dv5(g + 1)};
                Stages::start_sums(dh5, geo, s.sum_h());
                Stages::start_sums(dv5, geo, s.sum_v());
            }
            if (g >= -1) {
                const GreenRows<W> r{s.p(g),       s.c4h(g),     {s.c4v(g - 1), s.c4v(g), s.c4v(g + 1)},
                                     s.sum_h(),    s.sum_v(),    s.dh5(g + 2),
                                     s.dh5(g - 2), s.dv5(g + 2), s.dv5(g - 2),
                                     s.g(g),       s.d(g)};
                Stages::green(r, kind(g), geo);
            }
            const std::ptrdiff_t y = k - kHalo;
            if (y >= 0) {
                const OutputRows<W, T> r{s.p(y), s.g(y), {s.d(y - 1), s.d(y), s.d(y + 1)},
                                         band.out + y * band.out_stride + x0 * channels};
                Stages::output(r, kind(y), geo);
            }
        }
    }
}

}  // namespace plox::ipl::lib::directional_detail
