// Directional demosaicing: the SIMD stages (16-bit lanes for 8-bit data, 32-bit lanes for deeper
// data), which give the bytes of the scalar stages in directional_demosaic_scalar.h.

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "lib/convert/directional_demosaic.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "lib/convert/directional_demosaic.h"
#include "lib/convert/directional_demosaic_scalar.h"
#include "lib/core/settings.h"

HWY_BEFORE_NAMESPACE();
namespace plox::ipl::lib::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;
using directional_detail::Band;
using directional_detail::Geometry;
using directional_detail::GreenRows;
using directional_detail::HorizontalRows;
using directional_detail::kHalo;
using directional_detail::OutputRows;
using directional_detail::RowKind;
using directional_detail::ScalarStages;
using directional_detail::VerticalRows;

#if HWY_TARGET != HWY_SCALAR

template <class T>
struct SimdStages {
    using W = directional_detail::Work<T>;
    using D = hn::ScalableTag<W>;
    using V = hn::Vec<D>;
    using M = hn::Mask<D>;

    // Lanes at green sites when the first lane sits at a column of parity `odd_start`.
    static M green_lanes(RowKind kind, bool odd_start) {
        const D d;
        const auto odd = hn::Eq(hn::And(hn::Iota(d, 0), hn::Set(d, W{1})), hn::Set(d, W{1}));
        return kind.green_even != odd_start ? hn::Not(odd) : odd;
    }

    static void load(const T* row, const Geometry& geo, W* p) {
        const D d;
        const hn::Rebind<T, D> dt;
        const auto n = static_cast<std::ptrdiff_t>(hn::Lanes(d));
        // Stage column e reads image column x0 - kHalo + e: the columns inside the image load as
        // vectors, the mirrored ones one by one.
        const auto shift = static_cast<std::ptrdiff_t>(geo.x0) - kHalo;
        const std::ptrdiff_t used = directional_detail::used_columns(geo);
        const std::ptrdiff_t inside_end = std::min(used, static_cast<std::ptrdiff_t>(geo.width) - shift);
        std::fill(p - directional_detail::kMargin, p, W{0});
        std::ptrdiff_t e = 0;
        for (; e < std::min(-shift, used); ++e) p[e] = row[directional_detail::mirror_column(shift + e, geo.width)];
        for (; e + n <= inside_end; e += n) hn::StoreU(hn::PromoteTo(d, hn::LoadU(dt, row + shift + e)), d, p + e);
        for (; e < used; ++e) p[e] = row[directional_detail::mirror_column(shift + e, geo.width)];
        std::fill(p + used, p + geo.span + directional_detail::kMargin, W{0});
    }

    static V second_difference(V m2, V m1, V c, V p1, V p2) {
        return hn::Add(hn::Add(m2, p2), hn::ShiftLeft<1>(hn::Sub(hn::Sub(c, m1), p1)));
    }

    // |diff| on the 8-bit scale, capped (see ScalarStages::gradient).
    static V gradient(V diff, int shift) {
        const D d;
        diff = hn::Abs(diff);
        // 8-bit data are on the gradients' scale already.
        if constexpr (sizeof(T) > 1) diff = hn::ShiftRightSame(diff, shift);
        return hn::Min(diff, hn::Set(d, W{255}));
    }

    static V c4v_at(const W* const p[5], std::ptrdiff_t e) {
        const D d;
        return second_difference(hn::LoadU(d, p[0] + e), hn::LoadU(d, p[1] + e), hn::LoadU(d, p[2] + e),
                                 hn::LoadU(d, p[3] + e), hn::LoadU(d, p[4] + e));
    }

    // Adds gradient g to a column sum and takes out the one of five rows up, whose ring slot g takes.
    static HWY_INLINE void add_gradient(V g, W* ring, W* sum, std::ptrdiff_t e) {
        const D d;
        hn::StoreU(hn::Sub(hn::Add(hn::LoadU(d, sum + e), g), hn::LoadU(d, ring + e)), d, sum + e);
        hn::StoreU(g, d, ring + e);
    }

    // Vector stores may alias anything, so loops keep their rows and bounds in locals.
    static void vertical(const VerticalRows<W>& rows, const Geometry& geo) {
        const VerticalRows<W> v = rows;
        const D d;
        const auto n = static_cast<std::ptrdiff_t>(hn::Lanes(d));
        const std::ptrdiff_t span = geo.span;
        for (std::ptrdiff_t e = 0; e < span; e += n) hn::StoreU(c4v_at(v.p, e), d, v.c4v + e);
    }

    static void gradients(const VerticalRows<W>& v_rows, const HorizontalRows<W>& h_rows, const Geometry& geo) {
        const VerticalRows<W> v = v_rows;
        const HorizontalRows<W> h = h_rows;
        const D d;
        const auto n = static_cast<std::ptrdiff_t>(hn::Lanes(d));
        const std::ptrdiff_t span = geo.span;
        const int shift = geo.shift;
        for (std::ptrdiff_t e = 0; e < span; e += n) {
            const V c4v = c4v_at(v.p, e);
            hn::StoreU(c4v, d, v.c4v + e);
            add_gradient(gradient(hn::Sub(c4v, hn::LoadU(d, v.c4v_up + e)), shift), v.dv, v.sum_v, e);

            const W* p = h.p;
            const V m3 = hn::LoadU(d, p + e - 3), m2 = hn::LoadU(d, p + e - 2), m1 = hn::LoadU(d, p + e - 1);
            const V p1 = hn::LoadU(d, p + e + 1), p2 = hn::LoadU(d, p + e + 2), p3 = hn::LoadU(d, p + e + 3);
            hn::StoreU(second_difference(m2, m1, hn::LoadU(d, p + e), p1, p2), d, h.c4h + e);
            // c4h[e+1] - c4h[e-1] (see ScalarStages::horizontal).
            const V step = hn::Sub(hn::Add(hn::Sub(p3, m3), hn::Sub(p1, m1)), hn::ShiftLeft<1>(hn::Sub(p2, m2)));
            add_gradient(gradient(step, shift), h.dh, h.sum_h, e);
        }
    }

    // 4 plus the sums over x-2..x+2.
    static HWY_INLINE V box(const W* sums, std::ptrdiff_t e) {
        const D d;
        return hn::Add(hn::Add(hn::Add(hn::LoadU(d, sums + e - 2), hn::LoadU(d, sums + e - 1)),
                               hn::Add(hn::LoadU(d, sums + e), hn::LoadU(d, sums + e + 1))),
                       hn::Add(hn::LoadU(d, sums + e + 2), hn::Set(d, W{4})));
    }

    // csh and csv at red and blue sites, whose neighbours along the row and column are green.
    static V csh_at(const GreenRows<W>& r, std::ptrdiff_t e) {
        const D d;
        return hn::Sub(hn::ShiftLeft<1>(hn::LoadU(d, r.c4h + e)),
                       hn::Add(hn::LoadU(d, r.c4h + e - 1), hn::LoadU(d, r.c4h + e + 1)));
    }

    static V csv_at(const GreenRows<W>& r, std::ptrdiff_t e) {
        const D d;
        return hn::Sub(hn::ShiftLeft<1>(hn::LoadU(d, r.c4v[1] + e)),
                       hn::Add(hn::LoadU(d, r.c4v[0] + e), hn::LoadU(d, r.c4v[2] + e)));
    }

    // G at a red or blue site from its gradient sums (4 + the 5x5 sums), colour differences and P.
    static HWY_INLINE V blend(V sum_h, V sum_v, V csh, V csv, V p, V max_v) {
        const D d;
        const hn::RebindToUnsigned<D> du;
        // Up to 4 + 25 * 255: eight times that still fits unsigned 16 bits.
        const auto sh = hn::BitCast(du, sum_h), sv = hn::BitCast(du, sum_v);
        const auto three = hn::Set(du, 3);
        const auto sh3 = hn::Mul(sh, three), sv3 = hn::Mul(sv, three);
        // q csh + (4 - q) csv = 4 csh - (4 - q)(csh - csv), one term per unmet condition. Sums may
        // wrap on the way; the result fits the lane, so it is exact.
        const V diff = hn::Sub(csh, csv);
        V c = hn::ShiftLeft<2>(csh);
        const auto unmet = [&](auto mask) { c = hn::IfThenElse(hn::RebindMask(d, mask), hn::Sub(c, diff), c); };
        unmet(hn::Lt(hn::ShiftLeft<3>(sv), sh3));
        unmet(hn::Lt(hn::ShiftLeft<2>(sv), sh3));
        unmet(hn::Lt(sv3, hn::ShiftLeft<2>(sh)));
        unmet(hn::Lt(sv3, hn::ShiftLeft<3>(sh)));
        const V t = hn::Add(hn::Sub(hn::ShiftLeft<6>(p), c), hn::Set(d, W{32}));
        return hn::Min(hn::Max(hn::ShiftRight<6>(t), hn::Zero(d)), max_v);
    }

    static void green(const GreenRows<W>& rows, RowKind kind, const Geometry& geo) {
        if constexpr (sizeof(W) == 2) {
            // Red and blue sites sit at odd lanes when green ones sit at even lanes.
            return kind.green_even ? red_blue_green<true>(rows, kind, geo) : red_blue_green<false>(rows, kind, geo);
        }
        const GreenRows<W> r = rows;
        const std::ptrdiff_t span = geo.span;
        const D d;
        const auto n = static_cast<std::ptrdiff_t>(hn::Lanes(d));
        const M green = green_lanes(kind, false);
        const V max_v = hn::Set(d, static_cast<W>(geo.max_value));
        for (std::ptrdiff_t e = 0; e < span; e += n) {
            const V p = hn::LoadU(d, r.p + e);
            const V g = hn::IfThenElse(green, p, blend(box(r.sum_h, e), box(r.sum_v, e), csh_at(r, e), csv_at(r, e), p, max_v));
            hn::StoreU(hn::Sub(p, g), d, r.d + e);
        }
    }

    // The red and blue sites' lanes of two vectors, gathered into one.
    template <bool kOdd>
    static V gather(V hi, V lo) {
        const D d;
        if constexpr (kOdd) {
            return hn::ConcatOdd(d, hi, lo);
        } else {
            return hn::ConcatEven(d, hi, lo);
        }
    }

    // Lane i of the lower (half 0) or upper half of `v` into lanes 2i and 2i + 1.
    static V spread(V v, std::uint64_t half) {
        const D d;
        const hn::Repartition<std::uint64_t, D> d64;
        // Each 64-bit chunk goes to the lower half of a 128-bit block, which InterleaveLower spreads.
        const auto chunks = hn::Add(hn::ShiftRight<1>(hn::Iota(d64, 0)), hn::Set(d64, half * hn::Lanes(d64) / 2));
        const V x = hn::BitCast(d, hn::TableLookupLanes(hn::BitCast(d64, v), hn::IndicesFromVec(d64, chunks)));
        return hn::InterleaveLower(d, x, x);
    }

    // The green stage for 16-bit lanes: only half the lanes need the blend, so two vectors share one.
    template <bool kOdd>
    static void red_blue_green(const GreenRows<W>& rows, RowKind kind, const Geometry& geo) {
        const GreenRows<W> r = rows;
        const std::ptrdiff_t span = geo.span;
        const D d;
        const auto n = static_cast<std::ptrdiff_t>(hn::Lanes(d));
        const M green = green_lanes(kind, false);
        const V max_v = hn::Set(d, static_cast<W>(geo.max_value));
        // The span is a multiple of kSpanUnit, which holds two vectors of any target.
        for (std::ptrdiff_t e = 0; e < span; e += 2 * n) {
            const std::ptrdiff_t e1 = e + n;
            const V p0 = hn::LoadU(d, r.p + e), p1 = hn::LoadU(d, r.p + e1);
            const V g = blend(gather<kOdd>(box(r.sum_h, e1), box(r.sum_h, e)),
                              gather<kOdd>(box(r.sum_v, e1), box(r.sum_v, e)),
                              gather<kOdd>(csh_at(r, e1), csh_at(r, e)), gather<kOdd>(csv_at(r, e1), csv_at(r, e)),
                              gather<kOdd>(p1, p0), max_v);
            const V g0 = hn::IfThenElse(green, p0, spread(g, 0)), g1 = hn::IfThenElse(green, p1, spread(g, 1));
            hn::StoreU(hn::Sub(p0, g0), d, r.d + e);
            hn::StoreU(hn::Sub(p1, g1), d, r.d + e1);
        }
    }

    static bool simd_layout(const ChannelLayout& layout) {
        return layout.green == 1 && ((layout.red == 0 && layout.blue == 2) || (layout.red == 2 && layout.blue == 0)) &&
               (layout.alpha < 0 || layout.alpha == 3);
    }

    using DB = hn::ScalableTag<T>;  // output samples, twice as many as stage lanes
    using VB = hn::Vec<DB>;

    // Two vectors of stage values as one of output samples, in order and saturated. x86 packs within
    // 128-bit blocks, so one 64-bit permutation restores the order.
    static VB demote_pair(V hi, V lo) {
#if HWY_ARCH_X86 && HWY_TARGET <= HWY_AVX3
        const __m512i packed = sizeof(T) == 1 ? _mm512_packus_epi16(lo.raw, hi.raw) : _mm512_packus_epi32(lo.raw, hi.raw);
        return VB{_mm512_permutexvar_epi64(_mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7), packed)};
#elif HWY_ARCH_X86 && HWY_TARGET == HWY_AVX2
        const __m256i packed = sizeof(T) == 1 ? _mm256_packus_epi16(lo.raw, hi.raw) : _mm256_packus_epi32(lo.raw, hi.raw);
        return VB{_mm256_permute4x64_epi64(packed, _MM_SHUFFLE(3, 1, 2, 0))};
#else
        const DB db;
        const hn::Rebind<T, D> dt;
        return hn::Combine(db, hn::DemoteTo(dt, hi), hn::DemoteTo(dt, lo));
#endif
    }

    // The non-green colour of the row (A), green and the other colour (O) of the pixels from
    // stage column e.
    static HWY_INLINE void colours(const OutputRows<W, T>& r, std::ptrdiff_t e, M green, V& a, V& g, V& o) {
        const D d;
        const V one = hn::Set(d, W{1}), two = hn::Set(d, W{2});
        const V p = hn::LoadU(d, r.p + e);
        g = hn::Sub(p, hn::LoadU(d, r.d[1] + e));
        const V up_left = hn::LoadU(d, r.d[0] + e - 1), up_right = hn::LoadU(d, r.d[0] + e + 1);
        const V down_left = hn::LoadU(d, r.d[2] + e - 1), down_right = hn::LoadU(d, r.d[2] + e + 1);
        const V left = hn::LoadU(d, r.d[1] + e - 1), right = hn::LoadU(d, r.d[1] + e + 1);
        const V up = hn::LoadU(d, r.d[0] + e), down = hn::LoadU(d, r.d[2] + e);
        const V along_row = hn::Add(g, hn::ShiftRight<1>(hn::Add(hn::Add(left, right), one)));
        const V along_column = hn::Add(g, hn::ShiftRight<1>(hn::Add(hn::Add(up, down), one)));
        const V diagonal = hn::Add(
            g, hn::ShiftRight<2>(hn::Add(hn::Add(hn::Add(up_left, up_right), hn::Add(down_left, down_right)), two)));
        a = hn::IfThenElse(green, along_row, p);
        o = hn::IfThenElse(green, along_column, diagonal);
    }

    // Two vectors of pixels per step, so that the interleaving works on whole vectors.
    template <bool kAFirst, bool kAlpha, bool kClamp>
    static HWY_NOINLINE void output_steps(const OutputRows<W, T>& rows, RowKind kind, const Geometry& geo) {
        const DB db;
        const std::size_t n = hn::Lanes(D());
        const OutputRows<W, T> r = rows;  // a local copy: see gradients()
        const M green_even_start = green_lanes(kind, false), green_odd_start = green_lanes(kind, true);
        const auto max_b = hn::Set(db, static_cast<T>(geo.max_value));
        constexpr std::size_t channels = kAlpha ? 4 : 3;
        const std::size_t last = geo.columns - 2 * n;
        for (std::size_t x = 0;; x += 2 * n) {
            // The last step may overlap the one before; it writes the same values again.
            if (x > last) x = last;
            const auto e = static_cast<std::ptrdiff_t>(x) + kHalo;
            const M green = (x & 1) ? green_odd_start : green_even_start;
            V a_lo, g_lo, o_lo, a_hi, g_hi, o_hi;
            colours(r, e, green, a_lo, g_lo, o_lo);
            colours(r, e + static_cast<std::ptrdiff_t>(n), green, a_hi, g_hi, o_hi);
            VB a = demote_pair(a_hi, a_lo), g = demote_pair(g_hi, g_lo), o = demote_pair(o_hi, o_lo);
            if (kClamp) {
                a = hn::Min(a, max_b);
                g = hn::Min(g, max_b);
                o = hn::Min(o, max_b);
            }
            T* out = r.out + x * channels;
            if (kAlpha) {
                hn::StoreInterleaved4(kAFirst ? a : o, g, kAFirst ? o : a, max_b, db, out);
            } else {
                hn::StoreInterleaved3(kAFirst ? a : o, g, kAFirst ? o : a, db, out);
            }
            if (x == last) break;
        }
    }

    template <bool kAlpha, bool kClamp>
    static void output_steps(const OutputRows<W, T>& r, RowKind kind, const Geometry& geo, bool a_first) {
        if (a_first) {
            output_steps<true, kAlpha, kClamp>(r, kind, geo);
        } else {
            output_steps<false, kAlpha, kClamp>(r, kind, geo);
        }
    }

    static void output(const OutputRows<W, T>& r, RowKind kind, const Geometry& geo) {
        if (geo.columns < 2 * hn::Lanes(D()) || !simd_layout(geo.layout)) return ScalarStages<T>::output(r, kind, geo);
        const bool a_first = kind.red_row == (geo.layout.red == 0);
        const bool clamp = geo.max_value < hwy::LimitsMax<T>();
        if (geo.layout.alpha >= 0) {
            return clamp ? output_steps<true, true>(r, kind, geo, a_first)
                         : output_steps<true, false>(r, kind, geo, a_first);
        }
        return clamp ? output_steps<false, true>(r, kind, geo, a_first)
                     : output_steps<false, false>(r, kind, geo, a_first);
    }
};

template <class T>
void band(const Band<T>& b) {
    directional_detail::run_band<T, SimdStages<T>>(b);
}

#else  // HWY_SCALAR: the parity masks need at least two lanes

template <class T>
void band(const Band<T>& b) {
    directional_detail::run_band<T, ScalarStages<T>>(b);
}

#endif

void DirectionalBandU8(const Band<std::uint8_t>& b) { band(b); }
void DirectionalBandU16(const Band<std::uint16_t>& b) { band(b); }

}  // namespace plox::ipl::lib::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace plox::ipl::lib {

HWY_EXPORT(DirectionalBandU8);
HWY_EXPORT(DirectionalBandU16);

namespace {

void run_simd(const directional_detail::Band<std::uint8_t>& band) { HWY_DYNAMIC_DISPATCH(DirectionalBandU8)(band); }
void run_simd(const directional_detail::Band<std::uint16_t>& band) { HWY_DYNAMIC_DISPATCH(DirectionalBandU16)(band); }

}  // namespace

template <class T>
void directional_demosaic(const T* mosaic, std::ptrdiff_t mosaic_stride, std::size_t width, std::size_t rows,
                          PLOX_IPL_BAYER_PATTERN pattern, std::uint32_t max_value, ChannelLayout layout, T* out,
                          std::ptrdiff_t out_stride) {
    if (width == 0 || rows == 0) return;
    const directional_detail::Band<T> band{mosaic,  mosaic_stride,
                                           width,   rows,
                                           pattern, std::min<std::uint32_t>(max_value, std::numeric_limits<T>::max()),
                                           layout,  out,
                                           out_stride};
    if (Settings::instance().simd_enabled()) return run_simd(band);
    directional_detail::run_band<T, directional_detail::ScalarStages<T>>(band);
}

template void directional_demosaic<std::uint8_t>(const std::uint8_t*, std::ptrdiff_t, std::size_t, std::size_t,
                                                 PLOX_IPL_BAYER_PATTERN, std::uint32_t, ChannelLayout, std::uint8_t*,
                                                 std::ptrdiff_t);
template void directional_demosaic<std::uint16_t>(const std::uint16_t*, std::ptrdiff_t, std::size_t, std::size_t,
                                                  PLOX_IPL_BAYER_PATTERN, std::uint32_t, ChannelLayout,
                                                  std::uint16_t*, std::ptrdiff_t);

}  // namespace plox::ipl::lib
#endif  // HWY_ONCE
