// Bayer demosaicing: bilinear interpolation in SIMD rows with a scalar path that gives the same
// bytes and handles the border columns; the directional method lives in directional_demosaic.cpp.
//
// Each SIMD step covers one vector of pixels starting at a non-green column. A vector loaded at column x + dx
// and viewed as double-width lanes holds x + dx + 2i in the low half and x + dx + 2i + 1 in the
// high half, so the non-green sites read their neighbours from low halves and the green sites
// from high halves, and no lane crossing shuffles are needed.

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "lib/convert/demosaic.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "lib/convert/demosaic.h"
#include "lib/convert/demosaic_scalar.h"
#include "lib/convert/directional_demosaic.h"
#include "lib/core/settings.h"

HWY_BEFORE_NAMESPACE();
namespace plox::ipl::lib::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;
using demosaic_detail::Band;
using demosaic_detail::RowWindow;

#if HWY_TARGET != HWY_SCALAR

template <class D, class V>
HWY_INLINE void store_pixels(D d, V a, V g, V o, bool a_first, bool alpha, hn::TFromD<D> max_value,
                             hn::TFromD<D>* HWY_RESTRICT p) {
    const V first = a_first ? a : o;
    const V last = a_first ? o : a;
    if (alpha) {
        hn::StoreInterleaved4(first, g, last, hn::Set(d, max_value), d, p);
    } else {
        hn::StoreInterleaved3(first, g, last, d, p);
    }
}

// The last start column, of the same parity as `first`, whose loads (up to `reach` columns past
// the vector) stay inside the row; false when not even one step fits.
HWY_INLINE bool step_range(std::size_t width, std::size_t lanes, std::size_t reach, std::size_t first,
                           std::size_t& last) {
    if (width < first + lanes + reach) return false;
    last = first + ((width - lanes - reach - first) & ~std::size_t{1});
    return true;
}

template <class T, bool kAFirst, bool kAlpha, bool kClamp>
HWY_NOINLINE std::size_t bilinear_span(const RowWindow<T>& w, std::size_t first) {
    const hn::ScalableTag<T> d;
    const hn::RepartitionToWide<decltype(d)> dw;
    using TW = hn::TFromD<decltype(dw)>;
    const std::size_t n = hn::Lanes(d);
    std::size_t last;
    if (!step_range(w.width, n, 1, first, last)) return first;

    const T* HWY_RESTRICT up = w.rows[0];
    const T* HWY_RESTRICT mid = w.rows[1];
    const T* HWY_RESTRICT down = w.rows[2];
    const auto low = hn::Set(dw, static_cast<TW>(hwy::LimitsMax<T>()));
    const auto two = hn::Set(dw, TW{2});
    const auto max_v = hn::Set(d, static_cast<T>(w.max_value));
    const auto lo = [&](decltype(hn::Zero(d)) v) { return hn::And(hn::BitCast(dw, v), low); };

    for (std::size_t x = first;; x += n) {
        // The last step may overlap the previous one; it writes the same values again.
        if (x > last) x = last;
        const auto c_m = hn::LoadU(d, mid + x - 1), c_0 = hn::LoadU(d, mid + x), c_p = hn::LoadU(d, mid + x + 1);
        const auto u_m = hn::LoadU(d, up + x - 1), u_0 = hn::LoadU(d, up + x), u_p = hn::LoadU(d, up + x + 1);
        const auto d_m = hn::LoadU(d, down + x - 1), d_0 = hn::LoadU(d, down + x),
                   d_p = hn::LoadU(d, down + x + 1);

        // Non-green sites: G from the four edge neighbours, O from the four diagonal ones.
        const auto g_at_a =
            hn::ShiftRight<2>(hn::Add(hn::Add(lo(c_m), lo(c_p)), hn::Add(hn::Add(lo(u_0), lo(d_0)), two)));
        const auto o_at_a =
            hn::ShiftRight<2>(hn::Add(hn::Add(lo(u_m), lo(u_p)), hn::Add(hn::Add(lo(d_m), lo(d_p)), two)));
        // Two-neighbour means are exact byte averages; green sites take them from the odd lanes.
        auto a = hn::OddEven(hn::AverageRound(c_m, c_p), c_0);
        auto g = hn::OddEven(c_0, hn::BitCast(d, g_at_a));
        auto o = hn::OddEven(hn::AverageRound(u_0, d_0), hn::BitCast(d, o_at_a));
        if (kClamp) {
            a = hn::Min(a, max_v);
            g = hn::Min(g, max_v);
            o = hn::Min(o, max_v);
        }
        store_pixels(d, a, g, o, kAFirst, kAlpha, static_cast<T>(w.max_value), w.out + x * (kAlpha ? 4 : 3));
        if (x == last) break;
    }
    return last + n;
}

template <class T, bool kAlpha, bool kClamp>
HWY_INLINE std::size_t span(const RowWindow<T>& w, bool a_first, std::size_t first) {
    return a_first ? bilinear_span<T, true, kAlpha, kClamp>(w, first)
                   : bilinear_span<T, false, kAlpha, kClamp>(w, first);
}

// The layout is RGB, BGR, RGBa or BGRa (the caller checked).
template <class T>
HWY_INLINE void band_simd(const Band<T>& band) {
    const bool alpha = band.layout.alpha >= 0;
    const bool clamp = band.max_value < hwy::LimitsMax<T>();
    for (std::size_t row = 0; row < band.rows; ++row) {
        const RowWindow<T> w = demosaic_detail::row_window(band, row);
        const bool a_first = w.kind.red_row == (band.layout.red == 0);
        // Steps start at a non-green column far enough from the left edge for every load.
        std::size_t first = w.kind.green_even ? 1 : 2;
        std::size_t end;
        if (alpha) {
            end = clamp ? span<T, true, true>(w, a_first, first) : span<T, true, false>(w, a_first, first);
        } else {
            end = clamp ? span<T, false, true>(w, a_first, first) : span<T, false, false>(w, a_first, first);
        }
        first = std::min(first, band.width);
        demosaic_detail::scalar_columns(w, 0, first);
        demosaic_detail::scalar_columns(w, std::max(end, first), band.width);
    }
}

#else  // HWY_SCALAR: one-lane vectors cannot be split into halves

template <class T>
void band_simd(const Band<T>& band) {
    demosaic_detail::scalar_band(band);
}

#endif

void DemosaicBandU8(const Band<std::uint8_t>& band) { band_simd(band); }
void DemosaicBandU16(const Band<std::uint16_t>& band) { band_simd(band); }

}  // namespace plox::ipl::lib::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace plox::ipl::lib {

HWY_EXPORT(DemosaicBandU8);
HWY_EXPORT(DemosaicBandU16);

namespace {

bool simd_layout(const ChannelLayout& layout) {
    return layout.green == 1 && ((layout.red == 0 && layout.blue == 2) || (layout.red == 2 && layout.blue == 0)) &&
           (layout.alpha < 0 || layout.alpha == 3);
}

void run_simd(const demosaic_detail::Band<std::uint8_t>& band) { HWY_DYNAMIC_DISPATCH(DemosaicBandU8)(band); }
void run_simd(const demosaic_detail::Band<std::uint16_t>& band) { HWY_DYNAMIC_DISPATCH(DemosaicBandU16)(band); }

}  // namespace

template <class T>
void demosaic(const T* mosaic, std::ptrdiff_t mosaic_stride, std::size_t width, std::size_t rows,
              PLOX_IPL_BAYER_PATTERN pattern, DemosaicMethod method, std::uint32_t max_value, ChannelLayout layout,
              T* out, std::ptrdiff_t out_stride) {
    if (method == DemosaicMethod::directional)
        return directional_demosaic(mosaic, mosaic_stride, width, rows, pattern, max_value, layout, out, out_stride);
    if (width == 0 || rows == 0) return;
    const demosaic_detail::Band<T> band{mosaic,
                                        mosaic_stride,
                                        width,
                                        rows,
                                        pattern,
                                        std::min<std::uint32_t>(max_value, std::numeric_limits<T>::max()),
                                        layout,
                                        out,
                                        out_stride};
    if (Settings::instance().simd_enabled() && simd_layout(layout)) {
        run_simd(band);
    } else {
        demosaic_detail::scalar_band(band);
    }
}

template void demosaic<std::uint8_t>(const std::uint8_t*, std::ptrdiff_t, std::size_t, std::size_t,
                                     PLOX_IPL_BAYER_PATTERN, DemosaicMethod, std::uint32_t, ChannelLayout,
                                     std::uint8_t*, std::ptrdiff_t);
template void demosaic<std::uint16_t>(const std::uint16_t*, std::ptrdiff_t, std::size_t, std::size_t,
                                      PLOX_IPL_BAYER_PATTERN, DemosaicMethod, std::uint32_t, ChannelLayout,
                                      std::uint16_t*, std::ptrdiff_t);

}  // namespace plox::ipl::lib
#endif  // HWY_ONCE
