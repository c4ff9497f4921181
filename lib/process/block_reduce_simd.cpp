#include "block_reduce_simd.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "lib/process/block_reduce_simd.cpp"
#include <hwy/foreach_target.h>  // must precede highway.h
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace plox::ipl::lib {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR

// Lane k of the double-width result: v[2k] + v[2k + 1], after masking to the significant bits.
template <class D>
HWY_INLINE auto PairSums(D /* tag */, hn::Vec<D> v, hn::Vec<D> mask) {
    const hn::RepartitionToWide<D> dw;
    using TW = hn::TFromD<decltype(dw)>;
    constexpr int kBits = 8 * sizeof(hn::TFromD<D>);
    const auto wide = hn::BitCast(dw, hn::And(v, mask));
    const auto low = hn::And(wide, hn::Set(dw, static_cast<TW>(hwy::LimitsMax<hn::TFromD<D>>())));
    return hn::Add(low, hn::ShiftRight<kBits>(wide));
}

// One channel of 2N output pixels' blocks: `a` and `b` hold the first and second N source
// pixels of the top row, `c` and `e` those of the bottom row.
template <class D, class VW>
HWY_INLINE hn::Vec<D> Combine(D d, hn::Vec<D> a, hn::Vec<D> b, hn::Vec<D> c, hn::Vec<D> e, hn::Vec<D> mask,
                              VW wide_max, bool sum) {
    const hn::RepartitionToWide<D> dw;
    using TW = hn::TFromD<decltype(dw)>;
    auto first = hn::Add(PairSums(d, a, mask), PairSums(d, c, mask));
    auto second = hn::Add(PairSums(d, b, mask), PairSums(d, e, mask));
    if (sum) {
        first = hn::Min(first, wide_max);
        second = hn::Min(second, wide_max);
    } else {
        const auto two = hn::Set(dw, TW{2});
        first = hn::ShiftRight<2>(hn::Add(first, two));
        second = hn::ShiftRight<2>(hn::Add(second, two));
    }
    // Every result fits the narrow type, so the low halves of the wide lanes are the values.
    return hn::ConcatEven(d, hn::BitCast(d, second), hn::BitCast(d, first));
}

template <class T, unsigned kChannels>
HWY_NOINLINE std::size_t Bin2x2Pixels(const T* HWY_RESTRICT row0, const T* HWY_RESTRICT row1, std::size_t pixels,
                                      T max_value, bool sum, bool average_alpha, T* HWY_RESTRICT out) {
    const hn::ScalableTag<T> d;
    const std::size_t n = hn::Lanes(d);
    const hn::RepartitionToWide<decltype(d)> dw;
    const auto mask = hn::Set(d, max_value);
    const auto wide_max = hn::Set(dw, static_cast<hn::TFromD<decltype(dw)>>(max_value));
    std::size_t x = 0;
    for (; x + n <= pixels; x += n) {
        const T* p0 = row0 + 2 * x * kChannels;
        const T* p1 = row1 + 2 * x * kChannels;
        T* q = out + x * kChannels;
        if constexpr (kChannels == 1) {
            const auto v = Combine(d, hn::LoadU(d, p0), hn::LoadU(d, p0 + n), hn::LoadU(d, p1),
                                   hn::LoadU(d, p1 + n), mask, wide_max, sum);
            hn::StoreU(v, d, q);
        } else if constexpr (kChannels == 2) {
            hn::Vec<decltype(d)> a0, a1, b0, b1, c0, c1, e0, e1;
            hn::LoadInterleaved2(d, p0, a0, a1);
            hn::LoadInterleaved2(d, p0 + 2 * n, b0, b1);
            hn::LoadInterleaved2(d, p1, c0, c1);
            hn::LoadInterleaved2(d, p1 + 2 * n, e0, e1);
            hn::StoreInterleaved2(Combine(d, a0, b0, c0, e0, mask, wide_max, sum),
                                  Combine(d, a1, b1, c1, e1, mask, wide_max, sum), d, q);
        } else if constexpr (kChannels == 3) {
            hn::Vec<decltype(d)> a0, a1, a2, b0, b1, b2, c0, c1, c2, e0, e1, e2;
            hn::LoadInterleaved3(d, p0, a0, a1, a2);
            hn::LoadInterleaved3(d, p0 + 3 * n, b0, b1, b2);
            hn::LoadInterleaved3(d, p1, c0, c1, c2);
            hn::LoadInterleaved3(d, p1 + 3 * n, e0, e1, e2);
            hn::StoreInterleaved3(Combine(d, a0, b0, c0, e0, mask, wide_max, sum),
                                  Combine(d, a1, b1, c1, e1, mask, wide_max, sum),
                                  Combine(d, a2, b2, c2, e2, mask, wide_max, sum), d, q);
        } else {
            hn::Vec<decltype(d)> a0, a1, a2, a3, b0, b1, b2, b3, c0, c1, c2, c3, e0, e1, e2, e3;
            hn::LoadInterleaved4(d, p0, a0, a1, a2, a3);
            hn::LoadInterleaved4(d, p0 + 4 * n, b0, b1, b2, b3);
            hn::LoadInterleaved4(d, p1, c0, c1, c2, c3);
            hn::LoadInterleaved4(d, p1 + 4 * n, e0, e1, e2, e3);
            hn::StoreInterleaved4(Combine(d, a0, b0, c0, e0, mask, wide_max, sum),
                                  Combine(d, a1, b1, c1, e1, mask, wide_max, sum),
                                  Combine(d, a2, b2, c2, e2, mask, wide_max, sum),
                                  Combine(d, a3, b3, c3, e3, mask, wide_max, sum && !average_alpha), d, q);
        }
    }
    return x;
}

template <class T>
std::size_t Bin2x2(const T* row0, const T* row1, std::size_t pixels, unsigned channels, T max_value, bool sum,
                   bool average_alpha, T* out) {
    switch (channels) {
        case 1: return Bin2x2Pixels<T, 1>(row0, row1, pixels, max_value, sum, average_alpha, out);
        case 2: return Bin2x2Pixels<T, 2>(row0, row1, pixels, max_value, sum, average_alpha, out);
        case 3: return Bin2x2Pixels<T, 3>(row0, row1, pixels, max_value, sum, average_alpha, out);
        case 4: return Bin2x2Pixels<T, 4>(row0, row1, pixels, max_value, sum, average_alpha, out);
        default: return 0;
    }
}

template <class T>
HWY_NOINLINE std::size_t EvenUnits(const T* HWY_RESTRICT row, std::size_t units, T* HWY_RESTRICT out) {
    const hn::ScalableTag<T> d;
    const std::size_t n = hn::Lanes(d);
    std::size_t x = 0;
    for (; x + n <= units; x += n) {
        hn::StoreU(hn::ConcatEven(d, hn::LoadU(d, row + 2 * x + n), hn::LoadU(d, row + 2 * x)), d, out + x);
    }
    return x;
}

std::size_t Decimate2(const std::uint8_t* row, std::size_t units, unsigned unit_bytes, std::uint8_t* out) {
    // Units of 2, 4 and 8 bytes are lanes of that width; the row pointers are element-aligned.
    switch (unit_bytes) {
        case 1: return EvenUnits(row, units, out);
        case 2:
            return EvenUnits(reinterpret_cast<const std::uint16_t*>(row), units, reinterpret_cast<std::uint16_t*>(out));
        case 4:
            return EvenUnits(reinterpret_cast<const std::uint32_t*>(row), units, reinterpret_cast<std::uint32_t*>(out));
        case 8:
            return EvenUnits(reinterpret_cast<const std::uint64_t*>(row), units, reinterpret_cast<std::uint64_t*>(out));
        default: return 0;
    }
}

#else

template <class T>
std::size_t Bin2x2(const T*, const T*, std::size_t, unsigned, T, bool, bool, T*) {
    return 0;
}

std::size_t Decimate2(const std::uint8_t*, std::size_t, unsigned, std::uint8_t*) { return 0; }

#endif  // HWY_TARGET != HWY_SCALAR

std::size_t Bin2x2U8(const std::uint8_t* row0, const std::uint8_t* row1, std::size_t pixels, unsigned channels,
                     std::uint8_t max_value, bool sum, bool average_alpha, std::uint8_t* out) {
    return Bin2x2(row0, row1, pixels, channels, max_value, sum, average_alpha, out);
}

std::size_t Bin2x2U16(const std::uint16_t* row0, const std::uint16_t* row1, std::size_t pixels, unsigned channels,
                      std::uint16_t max_value, bool sum, bool average_alpha, std::uint16_t* out) {
    return Bin2x2(row0, row1, pixels, channels, max_value, sum, average_alpha, out);
}

}  // namespace HWY_NAMESPACE
}  // namespace plox::ipl::lib
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace plox::ipl::lib {

HWY_EXPORT(Bin2x2U8);
HWY_EXPORT(Bin2x2U16);
HWY_EXPORT(Decimate2);

std::size_t bin2x2_row_simd(const std::uint8_t* row0, const std::uint8_t* row1, std::size_t pixels,
                            unsigned channels, std::uint8_t max, bool sum, bool average_alpha, std::uint8_t* out) {
    return HWY_DYNAMIC_DISPATCH(Bin2x2U8)(row0, row1, pixels, channels, max, sum, average_alpha, out);
}

std::size_t bin2x2_row_simd(const std::uint16_t* row0, const std::uint16_t* row1, std::size_t pixels,
                            unsigned channels, std::uint16_t max, bool sum, bool average_alpha, std::uint16_t* out) {
    return HWY_DYNAMIC_DISPATCH(Bin2x2U16)(row0, row1, pixels, channels, max, sum, average_alpha, out);
}

std::size_t decimate2_row_simd(const std::uint8_t* row, std::size_t units, unsigned unit_bytes, std::uint8_t* out) {
    return HWY_DYNAMIC_DISPATCH(Decimate2)(row, units, unit_bytes, out);
}

}  // namespace plox::ipl::lib
#endif  // HWY_ONCE
