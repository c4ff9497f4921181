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
// mirroring every stage, because every stage is symmetric. The c4h and c4v rows leave out the
// sign s: dh and dv take differences of same-signed values, and the green stage knows the sites'
// signs (+1 at its own red/blue site, -1 at the green neighbours). This file holds the driver and the
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
// The widest span: 30 stage rows of 16-bit values then take about 250 KiB, which stays in L2.
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

// The call's band and output, as for the other methods; kHalo rows above and below are readable.
template <class T>
using Band = demosaic_detail::Band<T>;

// The rows the gradient stages read and write for band row h. The 5x5 gradient sums are kept as
// sums over rows h-4..h per column (the box over x-2..x+2 is taken by the green stage): they move
// on a row by adding the new row's gradients and taking out those of row h-5, whose ring slot the
// new row then takes over.
template <class W>
struct HorizontalRows {
    const W* p;  // P[h]
    W* c4h;      // s c4h[h]
    W* dh;       // dh[h-5] in, dh[h] out
    W* sum_h;
};

template <class W>
struct VerticalRows {
    const W* p[5];     // P[r-2..r+2]
    W* c4v;            // s c4v[r]
    const W* c4v_up;   // s c4v[r-2]
    W* dv;             // dv[r-6] in, dv[r-1] out
    W* sum_v;
};

// The rows the green stage reads and writes for band row g.
template <class W>
struct GreenRows {
    const W* p;       // P[g]
    const W* c4h;     // c4h[g]
    const W* c4v[3];  // c4v[g-1..g+1]
    const W* sum_h;   // column sums of dh over rows g-2..g+2
    const W* sum_v;
    W* d;  // D = P - G, which gives G back as P - D
};

// The rows the output stage reads for band row y, and where the pixels go.
template <class W, class T>
struct OutputRows {
    const W* p;     // P[y]
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

    // |diff| on the 8-bit scale, capped so that 25 of them and 8 times their sum fit 16 bits.
    static W gradient(std::int32_t diff, int shift) noexcept {
        return static_cast<W>(std::min((diff < 0 ? -diff : diff) >> shift, 255));
    }

    static void horizontal(const HorizontalRows<W>& r, const Geometry& geo) noexcept {
        const W* p = r.p;
        for (std::ptrdiff_t e = 0; e < geo.span; ++e) {
            r.c4h[e] = static_cast<W>(p[e - 2] + p[e + 2] + 2 * (p[e] - p[e - 1] - p[e + 1]));
            // c4h[e+1] - c4h[e-1], straight from the row.
            const std::int32_t step = p[e + 3] - p[e - 3] + p[e + 1] - p[e - 1] - 2 * (p[e + 2] - p[e - 2]);
            const W dh = gradient(step, geo.shift);
            r.sum_h[e] = static_cast<W>(r.sum_h[e] + dh - r.dh[e]);
            r.dh[e] = dh;
        }
    }

    // c4v alone, for the rows before the sums start.
    static void vertical(const VerticalRows<W>& r, const Geometry& geo) noexcept {
        for (std::ptrdiff_t e = 0; e < geo.span; ++e) {
            r.c4v[e] = static_cast<W>(r.p[0][e] + r.p[4][e] + 2 * (r.p[2][e] - r.p[1][e] - r.p[3][e]));
        }
    }

    // c4v of row r = h + 1 with dv and the vertical sums of row h, then the horizontal side of row h.
    static void gradients(const VerticalRows<W>& v, const HorizontalRows<W>& h, const Geometry& geo) noexcept {
        vertical(v, geo);
        for (std::ptrdiff_t e = 0; e < geo.span; ++e) {
            const W dv = gradient(v.c4v[e] - v.c4v_up[e], geo.shift);
            v.sum_v[e] = static_cast<W>(v.sum_v[e] + dv - v.dv[e]);
            v.dv[e] = dv;
        }
        horizontal(h, geo);
    }

    static void green(const GreenRows<W>& r, RowKind kind, const Geometry& geo) noexcept {
        const auto box = [](const W* sums, std::ptrdiff_t e) {
            return 4 + sums[e - 2] + sums[e - 1] + sums[e] + sums[e + 1] + sums[e + 2];
        };
        for (std::ptrdiff_t e = 0; e < geo.span; ++e) {
            if (green_at(kind, e)) {
                r.d[e] = 0;
                continue;
            }
            const std::int32_t sh = box(r.sum_h, e), sv = box(r.sum_v, e);
            const std::int32_t csh = 2 * r.c4h[e] - r.c4h[e - 1] - r.c4h[e + 1];
            const std::int32_t csv = 2 * r.c4v[1][e] - r.c4v[0][e] - r.c4v[2][e];
            const std::int32_t q = (8 * sv >= 3 * sh) + (4 * sv >= 3 * sh) + (3 * sv >= 4 * sh) + (3 * sv >= 8 * sh);
            const std::int32_t t = 64 * r.p[e] - (q * csh + (4 - q) * csv) + 32;
            const std::int32_t g = t < 0 ? 0 : std::min(t >> 6, geo.max_value);
            r.d[e] = static_cast<W>(r.p[e] - g);
        }
    }

    static void output(const OutputRows<W, T>& r, RowKind kind, const Geometry& geo) noexcept {
        const auto clamp = [&](std::int32_t v) {
            return static_cast<T>(v < 0 ? 0 : std::min(v, geo.max_value));
        };
        const std::size_t channels = geo.layout.has_alpha() ? 4 : 3;
        for (std::size_t x = 0; x < geo.columns; ++x) {
            const auto e = static_cast<std::ptrdiff_t>(x) + kHalo;  // x counts from the tile's first column
            const std::int32_t g = r.p[e] - r.d[1][e];
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
    W* c4h(std::ptrdiff_t row) noexcept { return ring(7, 3, row); }  // c4h[k-5..k-3]
    W* c4v(std::ptrdiff_t row) noexcept { return ring(10, 5, row); }  // c4v[k-6..k-2]
    W* d(std::ptrdiff_t row) noexcept { return ring(15, 3, row); }  // D[k-7..k-5]
    W* dh(std::ptrdiff_t row) noexcept { return ring(kSums, 5, row); }  // dh[k-7..k-3]
    W* dv(std::ptrdiff_t row) noexcept { return ring(kSums + 5, 5, row); }  // dv[k-7..k-3]
    W* sum_h() noexcept { return at(kSums + 10); }
    W* sum_v() noexcept { return at(kSums + 11); }

    // A new tile starts its sums from zero, as if the rows above its first one had no gradients.
    void clear_sums() noexcept { std::fill(at(kSums) - kMargin, storage_.data() + storage_.size(), W{0}); }

private:
    static constexpr std::size_t kSums = 18;  // the gradient rings and the sums come last
    static constexpr std::size_t kRows = kSums + 12;

    W* ring(std::size_t first, std::ptrdiff_t size, std::ptrdiff_t row) noexcept {
        return at(first + static_cast<std::size_t>((row % size + size) % size));
    }
    W* at(std::size_t index) noexcept { return storage_.data() + index * stride_ + kMargin; }

    std::size_t stride_;
    std::vector<W> storage_;  // zero-initialised, so margins that no stage writes are defined
};

// Runs the stages over a band, tile by tile. Row k of the mosaic feeds c4v[k-2], then c4h, the
// gradients and the sums of row h = k-3 (the first whose dv exists: the sums start there), then
// G/D[k-5] and the output row k-6.
template <class T, class Stages>
void run_band(const Band<T>& band) {
    using W = Work<T>;
    constexpr std::size_t max_columns = kTileSpan - 2 * kHalo;
    constexpr std::ptrdiff_t first_sum_row = 3 - kHalo;
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
        if (x0 > 0) s.clear_sums();
        for (std::ptrdiff_t k = -kHalo; k < rows + kHalo; ++k) {
            Stages::load(band.mosaic + k * band.mosaic_stride, geo, s.p(k));
            const std::ptrdiff_t h = k - 3;
            if (k >= 4 - kHalo) {
                const VerticalRows<W> v{{s.p(k - 4), s.p(k - 3), s.p(k - 2), s.p(k - 1), s.p(k)},
                                        s.c4v(k - 2),
                                        s.c4v(k - 4),
                                        s.dv(h),
                                        s.sum_v()};
                if (h >= first_sum_row) {
                    Stages::gradients(v, {s.p(h), s.c4h(h), s.dh(h), s.sum_h()}, geo);
                } else {
                    Stages::vertical(v, geo);
                }
            }
            const std::ptrdiff_t g = k - 5;
            if (g >= -1) {
                const GreenRows<W> r{s.p(g),    s.c4h(g),    {s.c4v(g - 1), s.c4v(g), s.c4v(g + 1)},
                                     s.sum_h(), s.sum_v(), s.d(g)};
                Stages::green(r, kind(g), geo);
            }
            const std::ptrdiff_t y = k - kHalo;
            if (y >= 0) {
                const OutputRows<W, T> r{s.p(y), {s.d(y - 1), s.d(y), s.d(y + 1)},
                                         band.out + y * band.out_stride + x0 * channels};
                Stages::output(r, kind(y), geo);
            }
        }
    }
}

}  // namespace plox::ipl::lib::directional_detail
