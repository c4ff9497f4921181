#include "edge_rows.h"

#include <algorithm>
#include <type_traits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "lib/process/edge_rows.cpp"
#include <hwy/foreach_target.h>  // must precede highway.h
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace plox::ipl::lib {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR

template <unsigned kChannels, class T, class L>
HWY_NOINLINE std::size_t ValuePixels(const T* HWY_RESTRICT in, std::size_t width, const EdgeShape& s,
                                     const L* above, const L* centre, L* HWY_RESTRICT values, L* HWY_RESTRICT sums) {
    // Grey values only widen. Luma of 8-bit samples fits 16-bit lanes (below), wider samples
    // take 32-bit products.
    using Base = std::conditional_t<kChannels == 1, L, std::make_unsigned_t<L>>;
    const hn::ScalableTag<Base> db;
    const hn::Rebind<T, decltype(db)> dt;
    const hn::Rebind<L, decltype(db)> dl;
    const std::size_t n = hn::Lanes(db);
    const auto mask = hn::Set(dt, static_cast<T>(s.mask));
    // With samples below 256 each weight w = 256 h + l splits the sum into 256 H + Lo, where
    // H = sum h v and Lo = sum l v stay below 2^16 (the h add up to 255, the l to 256), and
    // (256 H + Lo + 32768) >> 16 == (H + (Lo >> 8) + 128) >> 8 stays below 2^16 too.
    const bool split = sizeof(T) == 1;
    const auto w0 = hn::Set(db, static_cast<Base>(split ? s.weight[0] >> 8 : s.weight[0]));
    const auto w1 = hn::Set(db, static_cast<Base>(split ? s.weight[1] >> 8 : s.weight[1]));
    const auto w2 = hn::Set(db, static_cast<Base>(split ? s.weight[2] >> 8 : s.weight[2]));
    const auto l0 = hn::Set(db, static_cast<Base>(s.weight[0] & 0xFF));
    const auto l1 = hn::Set(db, static_cast<Base>(s.weight[1] & 0xFF));
    const auto l2 = hn::Set(db, static_cast<Base>(s.weight[2] & 0xFF));
    const auto half = hn::Set(db, static_cast<Base>(split ? 128 : 32768));
    // 8-bit rows come here only when all eight bits are significant.
    const auto significant = [&](hn::Vec<decltype(dt)> v) {
        if constexpr (sizeof(T) == 1) return v;
        else return hn::And(v, mask);
    };
    std::size_t x = 0;
    for (; x + n <= width; x += n) {
        hn::Vec<decltype(dl)> v;
        if constexpr (kChannels == 1) {
            v = hn::PromoteTo(dl, significant(hn::LoadU(dt, in + x)));
        } else {
            hn::Vec<decltype(dt)> c0, c1, c2, c3;
            if constexpr (kChannels == 3) hn::LoadInterleaved3(dt, in + 3 * x, c0, c1, c2);
            else hn::LoadInterleaved4(dt, in + 4 * x, c0, c1, c2, c3);
            const auto a = hn::PromoteTo(db, significant(c0));
            const auto b = hn::PromoteTo(db, significant(c1));
            const auto c = hn::PromoteTo(db, significant(c2));
            const auto high = hn::Add(hn::Add(hn::Mul(a, w0), hn::Mul(b, w1)), hn::Mul(c, w2));
            if constexpr (sizeof(T) == 1) {
                const auto low = hn::Add(hn::Add(hn::Mul(a, l0), hn::Mul(b, l1)), hn::Mul(c, l2));
                v = hn::BitCast(dl, hn::ShiftRight<8>(hn::Add(hn::Add(high, hn::ShiftRight<8>(low)), half)));
            } else {
                v = hn::BitCast(dl, hn::ShiftRight<16>(hn::Add(high, half)));
            }
        }
        hn::StoreU(v, dl, values + x);
        if (sums) hn::StoreU(hn::Add(hn::Add(hn::LoadU(dl, above + x), hn::LoadU(dl, centre + x)), v), dl, sums + x);
    }
    return x;
}

template <unsigned kChannels, class T, class L>
HWY_NOINLINE std::size_t ApplyPixels(const T* in, std::size_t width, const EdgeShape& s, const L* HWY_RESTRICT centre,
                                     const L* HWY_RESTRICT sums, T* out) {
    const hn::ScalableTag<L> dl;
    const hn::Rebind<T, decltype(dl)> dt;
    const std::size_t n = hn::Lanes(dl);
    const auto mask = hn::Set(dt, static_cast<T>(s.mask));
    const auto zero = hn::Zero(dl);
    const auto top = hn::Set(dl, static_cast<L>(s.max));
    // 8-bit: |2 detail| <= 4080 and 256 factor <= 16384, so the rounding 16-bit multiply
    // (a b + 2^14) >> 15 equals (factor detail + 32) >> 6 exactly.
    const auto scale = hn::Set(dl, static_cast<L>(sizeof(L) == 2 ? 256 * s.factor : s.factor));
    const auto round = hn::Set(dl, static_cast<L>(32));
    std::size_t x = 0;
    for (; x + n <= width; x += n) {
        const auto box =
            hn::Add(hn::Add(hn::LoadU(dl, sums + x), hn::LoadU(dl, sums + x + 1)), hn::LoadU(dl, sums + x + 2));
        const auto c = hn::LoadU(dl, centre + x);
        const auto detail = hn::Sub(hn::Add(hn::ShiftLeft<3>(c), c), box);
        hn::Vec<decltype(dl)> delta;
        if constexpr (sizeof(L) == 2) delta = hn::MulFixedPoint15(hn::Add(detail, detail), scale);
        else delta = hn::ShiftRight<6>(hn::Add(hn::Mul(detail, scale), round));
        // 8-bit rows come here only when all eight bits are significant: demotion saturates by itself.
        const auto apply = [&](hn::Vec<decltype(dt)> v) {
            if constexpr (sizeof(T) == 1) return hn::DemoteTo(dt, hn::Add(hn::PromoteTo(dl, v), delta));
            else {
                const auto sum = hn::Add(hn::PromoteTo(dl, hn::And(v, mask)), delta);
                return hn::DemoteTo(dt, hn::Min(hn::Max(sum, zero), top));
            }
        };
        if constexpr (kChannels == 1) {
            hn::StoreU(apply(hn::LoadU(dt, in + x)), dt, out + x);
        } else if constexpr (kChannels == 3) {
            hn::Vec<decltype(dt)> c0, c1, c2;
            hn::LoadInterleaved3(dt, in + 3 * x, c0, c1, c2);
            hn::StoreInterleaved3(apply(c0), apply(c1), apply(c2), dt, out + 3 * x);
        } else {
            hn::Vec<decltype(dt)> c0, c1, c2, c3;
            hn::LoadInterleaved4(dt, in + 4 * x, c0, c1, c2, c3);
            hn::StoreInterleaved4(apply(c0), apply(c1), apply(c2), c3, dt, out + 4 * x);
        }
    }
    return x;
}

template <class T, class L>
std::size_t Values(const T* in, std::size_t width, const EdgeShape& s, const L* above, const L* centre, L* values,
                   L* sums) {
    switch (s.channels) {
        case 1: return ValuePixels<1>(in, width, s, above, centre, values, sums);
        case 3: return ValuePixels<3>(in, width, s, above, centre, values, sums);
        default: return ValuePixels<4>(in, width, s, above, centre, values, sums);
    }
}

template <class T, class L>
std::size_t Apply(const T* in, std::size_t width, const EdgeShape& s, const L* centre, const L* sums, T* out) {
    switch (s.channels) {
        case 1: return ApplyPixels<1>(in, width, s, centre, sums, out);
        case 3: return ApplyPixels<3>(in, width, s, centre, sums, out);
        default: return ApplyPixels<4>(in, width, s, centre, sums, out);
    }
}

#else

template <class T, class L>
std::size_t Values(const T*, std::size_t, const EdgeShape&, const L*, const L*, L*, L*) {
    return 0;
}

template <class T, class L>
std::size_t Apply(const T*, std::size_t, const EdgeShape&, const L*, const L*, T*) {
    return 0;
}

#endif  // HWY_TARGET != HWY_SCALAR

std::size_t ValuesU8(const std::uint8_t* in, std::size_t width, const EdgeShape& s, const std::int16_t* above,
                     const std::int16_t* centre, std::int16_t* values, std::int16_t* sums) {
    return Values(in, width, s, above, centre, values, sums);
}

std::size_t ValuesU16(const std::uint16_t* in, std::size_t width, const EdgeShape& s, const std::int32_t* above,
                      const std::int32_t* centre, std::int32_t* values, std::int32_t* sums) {
    return Values(in, width, s, above, centre, values, sums);
}

std::size_t ApplyU8(const std::uint8_t* in, std::size_t width, const EdgeShape& s, const std::int16_t* centre,
                    const std::int16_t* sums, std::uint8_t* out) {
    return Apply(in, width, s, centre, sums, out);
}

std::size_t ApplyU16(const std::uint16_t* in, std::size_t width, const EdgeShape& s, const std::int32_t* centre,
                     const std::int32_t* sums, std::uint16_t* out) {
    return Apply(in, width, s, centre, sums, out);
}

}  // namespace HWY_NAMESPACE
}  // namespace plox::ipl::lib
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace plox::ipl::lib {

namespace {

template <class T, class L>
void values_pixels(const T* in, std::size_t first, std::size_t end, const EdgeShape& s, const L* above,
                   const L* centre, L* values, L* sums) {
    const std::uint32_t mask = s.mask;
    for (std::size_t x = first; x < end; ++x) {
        const T* p = in + x * s.channels;
        std::uint32_t v = p[0] & mask;
        if (s.channels > 1)
            v = (32768 + s.weight[0] * v + s.weight[1] * (p[1] & mask) + s.weight[2] * (p[2] & mask)) >> 16;
        values[x] = static_cast<L>(v);
        if (sums) sums[x] = static_cast<L>(above[x] + centre[x] + values[x]);
    }
}

template <class T, class L>
void apply_pixels(const T* in, std::size_t first, std::size_t end, const EdgeShape& s, const L* centre, const L* sums,
                  T* out) {
    const unsigned sharpened = s.channels == 4 ? 3 : s.channels;
    for (std::size_t x = first; x < end; ++x) {
        const std::int32_t detail = 9 * centre[x] - (sums[x] + sums[x + 1] + sums[x + 2]);
        // An arithmetic shift floors, so this rounds half up for negative details too.
        const std::int32_t delta = (s.factor * detail + 32) >> 6;
        const T* p = in + x * s.channels;
        T* q = out + x * s.channels;
        for (unsigned c = 0; c < sharpened; ++c)
            q[c] = static_cast<T>(std::clamp(static_cast<std::int32_t>(p[c] & s.mask) + delta, 0, s.max));
        if (s.channels == 4) q[3] = p[3];
    }
}

}  // namespace

HWY_EXPORT(ValuesU8);
HWY_EXPORT(ValuesU16);
HWY_EXPORT(ApplyU8);
HWY_EXPORT(ApplyU16);

void edge_values_row(const std::uint8_t* in, std::size_t first, std::size_t end, const EdgeShape& shape,
                     const std::int16_t* above, const std::int16_t* centre, std::int16_t* values,
                     std::int16_t* sums) {
    values_pixels(in, first, end, shape, above, centre, values, sums);
}

void edge_values_row(const std::uint16_t* in, std::size_t first, std::size_t end, const EdgeShape& shape,
                     const std::int32_t* above, const std::int32_t* centre, std::int32_t* values,
                     std::int32_t* sums) {
    values_pixels(in, first, end, shape, above, centre, values, sums);
}

void edge_apply_row(const std::uint8_t* in, std::size_t first, std::size_t end, const EdgeShape& shape,
                    const std::int16_t* centre, const std::int16_t* sums, std::uint8_t* out) {
    apply_pixels(in, first, end, shape, centre, sums, out);
}

void edge_apply_row(const std::uint16_t* in, std::size_t first, std::size_t end, const EdgeShape& shape,
                    const std::int32_t* centre, const std::int32_t* sums, std::uint16_t* out) {
    apply_pixels(in, first, end, shape, centre, sums, out);
}

std::size_t edge_values_row_simd(const std::uint8_t* in, std::size_t width, const EdgeShape& shape,
                                 const std::int16_t* above, const std::int16_t* centre, std::int16_t* values,
                                 std::int16_t* sums) {
    if (shape.mask != 0xFF) return 0;
    return HWY_DYNAMIC_DISPATCH(ValuesU8)(in, width, shape, above, centre, values, sums);
}

std::size_t edge_values_row_simd(const std::uint16_t* in, std::size_t width, const EdgeShape& shape,
                                 const std::int32_t* above, const std::int32_t* centre, std::int32_t* values,
                                 std::int32_t* sums) {
    return HWY_DYNAMIC_DISPATCH(ValuesU16)(in, width, shape, above, centre, values, sums);
}

std::size_t edge_apply_row_simd(const std::uint8_t* in, std::size_t width, const EdgeShape& shape,
                                const std::int16_t* centre, const std::int16_t* sums, std::uint8_t* out) {
    // The vector path neither masks 8-bit samples nor clamps below 255: narrower ones take the scalar path.
    if (shape.mask != 0xFF) return 0;
    return HWY_DYNAMIC_DISPATCH(ApplyU8)(in, width, shape, centre, sums, out);
}

std::size_t edge_apply_row_simd(const std::uint16_t* in, std::size_t width, const EdgeShape& shape,
                                const std::int32_t* centre, const std::int32_t* sums, std::uint16_t* out) {
    return HWY_DYNAMIC_DISPATCH(ApplyU16)(in, width, shape, centre, sums, out);
}

}  // namespace plox::ipl::lib
#endif  // HWY_ONCE
