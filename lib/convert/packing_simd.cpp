#include "packing_simd.h"

#include <algorithm>
#include <type_traits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "lib/convert/packing_simd.cpp"
#include <hwy/foreach_target.h>  // must precede highway.h
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace plox::ipl::lib {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR

// Eight values take exactly `bits` bytes, so each 16-byte block of a vector decodes 8 values into
// its 8 16-bit lanes. Every lane gathers the two source bytes that hold the value's bits (low
// byte first); a multiply (a per-lane left shift) then puts the wanted bits at the lane's top.
struct BlockLayout {
    alignas(16) std::uint8_t source[16];
    alignas(16) std::uint16_t multiplier[8];
};

// `offset`: where the block's bytes start inside the four 32-bit words moved into it.
constexpr BlockLayout block_layout(unsigned bits, bool grouped, unsigned offset) {
    BlockLayout layout{};
    const unsigned low_bits = bits - 8;  // grouped: bits in the shared last byte, per value
    const unsigned group = 8 / low_bits;
    for (unsigned j = 0; j < 8; ++j) {
        unsigned low = 0, high = 0, shift = 0;
        if (grouped) {
            // lane = shared byte | high bits << 8
            low = j / group * (group + 1) + group;
            high = j / group * (group + 1) + j % group;
            shift = 16 - low_bits - low_bits * (j % group);
        } else {
            low = bits * j / 8;
            high = low + 1;
            shift = 16 - bits - bits * j % 8;
        }
        layout.source[2 * j] = static_cast<std::uint8_t>(offset + low);
        layout.source[2 * j + 1] = static_cast<std::uint8_t>(offset + high);
        layout.multiplier[j] = static_cast<std::uint16_t>(1u << shift);
    }
    return layout;
}

// Lane i of a 32-bit vector: the source word moved into it, so that block k holds the bytes
// from k * kBits on.
template <unsigned kBits, class D32>
HWY_INLINE hn::Vec<D32> BlockWords(D32 d32) {
    const auto lane = hn::Iota(d32, 0);
    const auto block = hn::ShiftRight<2>(lane);
    const auto first = hn::ShiftRight<2>(hn::Add(hn::ShiftLeft<3>(block), hn::ShiftLeft<(kBits - 8) / 2>(block)));
    return hn::Add(first, hn::And(lane, hn::Set(d32, 3u)));
}

template <unsigned kBits, bool kGrouped>
struct BlockLayouts {
    static constexpr BlockLayout even = block_layout(kBits, kGrouped, 0);
    // 10 is not a multiple of 4, so odd blocks start 2 bytes into their first word.
    static constexpr BlockLayout odd = block_layout(kBits, kGrouped, kBits % 4);
};

// Two-block vectors load each block's bytes on their own, which is cheaper than moving words
// across blocks; wider vectors move words.
#if HWY_TARGET == HWY_AVX2
constexpr bool kLoadHalves = true;
#else
constexpr bool kLoadHalves = false;
#endif

template <unsigned kBits, bool kGrouped, class D8>
HWY_INLINE hn::Vec<D8> BlockSources(D8 d8) {
    using L = BlockLayouts<kBits, kGrouped>;
    if constexpr (kLoadHalves) return hn::LoadDup128(d8, L::even.source);
    else return hn::OddEvenBlocks(hn::LoadDup128(d8, L::odd.source), hn::LoadDup128(d8, L::even.source));
}

// One vector's worth of values (kBits bytes per block), as the 16-bit lanes described above.
template <unsigned kBits, class D8, class Words>
HWY_INLINE hn::Vec<hn::Repartition<std::uint16_t, D8>> Gather(D8 d8, const std::uint8_t* src, Words words,
                                                              hn::Vec<D8> sources) {
    const hn::Repartition<std::uint16_t, D8> d16;
    if constexpr (kLoadHalves) {
        (void)words;
        const hn::Half<D8> half;
        const auto blocks = hn::Combine(d8, hn::LoadU(half, src + kBits), hn::LoadU(half, src));
        return hn::BitCast(d16, hn::TableLookupBytes(blocks, sources));
    } else {
        const hn::Repartition<std::uint32_t, D8> d32;
        const auto moved = hn::TableLookupLanes(hn::BitCast(d32, hn::LoadU(d8, src)), words);
        return hn::BitCast(d16, hn::TableLookupBytes(hn::BitCast(d8, moved), sources));
    }
}

// Bytes one Gather reads from its start.
template <unsigned kBits, class D8>
HWY_INLINE std::size_t GatherReach(D8 d8) {
    return kLoadHalves ? kBits + 16 : hn::Lanes(d8);
}

// Start of one last vector of `lanes` values placed as late as the reads allow, so that only a
// few values are left to scalar code. It starts on a group boundary at or before the values
// done so far and decodes some of them again. `values` if there is no room for it.
template <unsigned kBits>
std::size_t LastStart(std::size_t bytes, std::size_t values, std::size_t lanes, std::size_t reach) {
    constexpr std::size_t kGroup = 8 / (kBits - 8), kGroupBytes = kGroup * kBits / 8;
    if (values < lanes || bytes < reach) return values;
    return std::min(values - lanes, (bytes - reach) / kGroupBytes * kGroup);
}

template <unsigned kBits, bool kGrouped, class V>
HWY_INLINE V Decode16(V x, V multiplier) {
    const hn::DFromV<V> d16;
    if constexpr (kGrouped) {
        constexpr unsigned kLow = kBits - 8;
        const auto high = hn::And(hn::ShiftRight<8 - kLow>(x), hn::Set(d16, std::uint16_t{0xFFu << kLow}));
        return hn::Or(high, hn::ShiftRight<16 - kLow>(hn::Mul(x, multiplier)));
    } else {
        return hn::ShiftRight<16 - kBits>(hn::Mul(x, multiplier));
    }
}

// The lane with the value's 8 high bits in its high byte.
template <bool kGrouped, class V>
HWY_INLINE V TopInHighByte(V x, V multiplier) {
    if constexpr (kGrouped) {
        (void)multiplier;
        return x;  // the high byte already is the value's top 8 bits
    } else {
        return hn::Mul(x, multiplier);
    }
}

template <unsigned kBits, bool kGrouped>
std::size_t UnpackTo16(const std::uint8_t* src, std::size_t bytes, std::size_t values, std::uint16_t* out) {
    const hn::ScalableTag<std::uint8_t> d8;
    const hn::Repartition<std::uint16_t, decltype(d8)> d16;
    const hn::Repartition<std::uint32_t, decltype(d8)> d32;
    const auto words = hn::IndicesFromVec(d32, BlockWords<kBits>(d32));
    const auto sources = BlockSources<kBits, kGrouped>(d8);
    const auto multiplier = hn::LoadDup128(d16, BlockLayouts<kBits, kGrouped>::even.multiplier);
    const std::size_t lanes = hn::Lanes(d16);
    const std::size_t reach = GatherReach<kBits>(d8);
    const std::size_t step = lanes * kBits / 8;
    std::size_t done = 0;
    for (std::size_t in = 0; done + lanes <= values && in + reach <= bytes; done += lanes, in += step) {
        const auto x = Gather<kBits>(d8, src + in, words, sources);
        hn::StoreU(Decode16<kBits, kGrouped>(x, multiplier), d16, out + done);
    }
    if (const std::size_t last = LastStart<kBits>(bytes, values, lanes, reach); last <= done && last + lanes > done) {
        const auto x = Gather<kBits>(d8, src + last * kBits / 8, words, sources);
        hn::StoreU(Decode16<kBits, kGrouped>(x, multiplier), d16, out + last);
        done = last + lanes;
    }
    return done;
}

// One vector of values from value `at` on, narrowed, as half a vector of bytes.
template <unsigned kBits, bool kGrouped, class D8, class Words, class V16>
HWY_INLINE void StoreTop8(D8 d8, const std::uint8_t* src, std::size_t at, Words words, hn::Vec<D8> sources,
                          V16 multiplier, std::uint8_t* out) {
    const hn::DFromV<V16> d16;
    const hn::Rebind<std::int16_t, decltype(d16)> di16;
    const hn::Rebind<std::uint8_t, decltype(d16)> d8_half;
    const auto top = TopInHighByte<kGrouped>(Gather<kBits>(d8, src + at * kBits / 8, words, sources), multiplier);
    hn::StoreU(hn::DemoteTo(d8_half, hn::BitCast(di16, hn::ShiftRight<8>(top))), d8_half, out + at);
}

template <unsigned kBits, bool kGrouped>
std::size_t UnpackTo8(const std::uint8_t* src, std::size_t bytes, std::size_t values, std::uint8_t* out) {
    const hn::ScalableTag<std::uint8_t> d8;
    const hn::Repartition<std::uint16_t, decltype(d8)> d16;
    const hn::Repartition<std::uint32_t, decltype(d8)> d32;
    const auto words = hn::IndicesFromVec(d32, BlockWords<kBits>(d32));
    const auto sources = BlockSources<kBits, kGrouped>(d8);
    const auto multiplier = hn::LoadDup128(d16, BlockLayouts<kBits, kGrouped>::even.multiplier);
    const std::size_t lanes = hn::Lanes(d16);
    const std::size_t reach = GatherReach<kBits>(d8);
    const std::size_t step = lanes * kBits / 8;
    std::size_t done = 0;
    std::size_t in = 0;
    // two vectors of 16-bit lanes make one of bytes
    for (; done + 2 * lanes <= values && in + step + reach <= bytes; done += 2 * lanes, in += 2 * step) {
        const auto lo = TopInHighByte<kGrouped>(Gather<kBits>(d8, src + in, words, sources), multiplier);
        const auto hi = TopInHighByte<kGrouped>(Gather<kBits>(d8, src + in + step, words, sources), multiplier);
        hn::StoreU(hn::ConcatOdd(d8, hn::BitCast(d8, hi), hn::BitCast(d8, lo)), d8, out + done);
    }
    // then half-width stores: the next vector, and one last overlapping one
    if (done + lanes <= values && in + reach <= bytes) {
        StoreTop8<kBits, kGrouped>(d8, src, done, words, sources, multiplier, out);
        done += lanes;
    }
    if (const std::size_t last = LastStart<kBits>(bytes, values, lanes, reach); last <= done && last + lanes > done) {
        StoreTop8<kBits, kGrouped>(d8, src, last, words, sources, multiplier, out);
        done = last + lanes;
    }
    return done;
}

// Packing works on single 16-byte blocks: 8 values in, kBits bytes out, stored 16 bytes wide so
// the next block overwrites the spare bytes.
template <unsigned kBits, bool kGrouped>
std::size_t PackBlocks(const std::uint16_t* values, std::size_t count, std::uint8_t* dst, std::size_t bytes) {
    const hn::CappedTag<std::uint16_t, 8> d16;
    if (hn::Lanes(d16) != 8) return 0;
    const hn::Repartition<std::uint8_t, decltype(d16)> d8;
    const hn::Repartition<std::uint32_t, decltype(d16)> d32;
    const hn::Repartition<std::uint64_t, decltype(d16)> d64;

    // For each output byte, the byte of the merged vector(s) it comes from; 0x80 gives zero.
    alignas(16) std::uint8_t from_high[16] = {};
    alignas(16) std::uint8_t from_low[16] = {};
    alignas(16) std::uint16_t low_shift[8] = {};
    constexpr unsigned kLow = kBits - 8;
    constexpr unsigned kGroup = 8 / kLow;
    for (unsigned o = 0; o < 16; ++o) {
        from_high[o] = from_low[o] = 0x80;
        if (o >= kBits) continue;
        if (kGrouped) {
            const unsigned group = o / (kGroup + 1), k = o % (kGroup + 1);
            if (k < kGroup) from_high[o] = static_cast<std::uint8_t>(2 * (kGroup * group + k));
            else from_low[o] = static_cast<std::uint8_t>(2 * kGroup * group);
        } else {
            // one group per 32-bit lane (12 bits) or 64-bit lane (10 bits), low byte first
            const unsigned lane_bytes = kBits == 12 ? 4 : 8, group_bytes = kBits == 12 ? 3 : 5;
            from_high[o] = static_cast<std::uint8_t>(lane_bytes * (o / group_bytes) + o % group_bytes);
        }
    }
    for (unsigned j = 0; j < 8; ++j) low_shift[j] = static_cast<std::uint16_t>(1u << (kLow * (j % kGroup)));
    const auto high_index = hn::Load(d8, from_high);
    const auto low_index = hn::Load(d8, from_low);
    const auto low_multiplier = hn::Load(d16, low_shift);

    std::size_t done = 0;
    for (std::size_t at = 0; done + 8 <= count && at + 16 <= bytes; done += 8, at += kBits) {
        // the shifts and masks below drop any bits above kBits
        const auto v = hn::LoadU(d16, values + done);
        hn::Vec<decltype(d8)> packed;
        if constexpr (kGrouped) {
            // high bytes in place; the low bits of a group merged into its first lane
            const auto high = hn::ShiftRight<kLow>(v);
            const auto low = hn::Mul(hn::And(v, hn::Set(d16, std::uint16_t{(1u << kLow) - 1})), low_multiplier);
            hn::Vec<decltype(d8)> merged;
            if constexpr (kGroup == 2) {
                const auto w = hn::BitCast(d32, low);
                merged = hn::BitCast(d8, hn::Or(w, hn::ShiftRight<16>(w)));
            } else {
                auto w = hn::BitCast(d64, low);
                w = hn::Or(w, hn::ShiftRight<16>(w));
                merged = hn::BitCast(d8, hn::Or(w, hn::ShiftRight<32>(w)));
            }
            packed = hn::Or(hn::TableLookupBytesOr0(hn::BitCast(d8, high), high_index),
                            hn::TableLookupBytesOr0(merged, low_index));
        } else {
            // pairs into 32-bit lanes: v0 | v1 << kBits
            const auto x = hn::BitCast(d32, v);
            const std::uint32_t field = (1u << kBits) - 1;
            const auto pairs = hn::Or(hn::And(x, hn::Set(d32, field)),
                                      hn::And(hn::ShiftRight<16 - kBits>(x), hn::Set(d32, field << kBits)));
            if constexpr (kBits == 12) {
                packed = hn::TableLookupBytesOr0(hn::BitCast(d8, pairs), high_index);
            } else {
                // pairs of pairs into 64-bit lanes: p0 | p1 << 20
                const auto y = hn::BitCast(d64, pairs);
                const std::uint64_t pair_field = (std::uint64_t{1} << 20) - 1;
                const auto quads = hn::Or(hn::And(y, hn::Set(d64, pair_field)),
                                          hn::And(hn::ShiftRight<12>(y), hn::Set(d64, pair_field << 20)));
                packed = hn::TableLookupBytesOr0(hn::BitCast(d8, quads), high_index);
            }
        }
        hn::StoreU(packed, d8, dst + at);
    }
    return done;
}

// Calls f(bits, grouped) with both as compile-time constants.
template <class F>
std::size_t WithLayout(PackedLayout layout, F&& f) {
    using Ten = std::integral_constant<unsigned, 10>;
    using Twelve = std::integral_constant<unsigned, 12>;
    if (layout.bits == 10) return layout.grouped ? f(Ten(), std::true_type()) : f(Ten(), std::false_type());
    if (layout.bits == 12) return layout.grouped ? f(Twelve(), std::true_type()) : f(Twelve(), std::false_type());
    return 0;
}

std::size_t UnpackGroups16(PackedLayout layout, const std::uint8_t* src, std::size_t bytes, std::size_t values,
                           std::uint16_t* out) {
    return WithLayout(layout, [&](auto bits, auto grouped) {
        return UnpackTo16<decltype(bits)::value, decltype(grouped)::value>(src, bytes, values, out);
    });
}

std::size_t UnpackGroups8(PackedLayout layout, const std::uint8_t* src, std::size_t bytes, std::size_t values,
                          std::uint8_t* out) {
    return WithLayout(layout, [&](auto bits, auto grouped) {
        return UnpackTo8<decltype(bits)::value, decltype(grouped)::value>(src, bytes, values, out);
    });
}

std::size_t PackGroups(PackedLayout layout, const std::uint16_t* values, std::size_t count, std::uint8_t* dst,
                       std::size_t bytes) {
    return WithLayout(layout, [&](auto bits, auto grouped) {
        return PackBlocks<decltype(bits)::value, decltype(grouped)::value>(values, count, dst, bytes);
    });
}

#else  // HWY_SCALAR: one lane cannot hold a block; the plain C++ path does everything

std::size_t UnpackGroups16(PackedLayout, const std::uint8_t*, std::size_t, std::size_t, std::uint16_t*) { return 0; }
std::size_t UnpackGroups8(PackedLayout, const std::uint8_t*, std::size_t, std::size_t, std::uint8_t*) { return 0; }
std::size_t PackGroups(PackedLayout, const std::uint16_t*, std::size_t, std::uint8_t*, std::size_t) { return 0; }

#endif

}  // namespace HWY_NAMESPACE
}  // namespace plox::ipl::lib
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace plox::ipl::lib {

HWY_EXPORT(UnpackGroups16);
HWY_EXPORT(UnpackGroups8);
HWY_EXPORT(PackGroups);

std::size_t unpack_groups_simd(PackedLayout layout, const std::uint8_t* src, std::size_t bytes, std::size_t values,
                               std::uint16_t* out) {
    return HWY_DYNAMIC_DISPATCH(UnpackGroups16)(layout, src, bytes, values, out);
}

std::size_t unpack_groups_simd_to_8(PackedLayout layout, const std::uint8_t* src, std::size_t bytes,
                                    std::size_t values, std::uint8_t* out) {
    return HWY_DYNAMIC_DISPATCH(UnpackGroups8)(layout, src, bytes, values, out);
}

std::size_t pack_groups_simd(PackedLayout layout, const std::uint16_t* values, std::size_t count, std::uint8_t* dst,
                             std::size_t bytes) {
    return HWY_DYNAMIC_DISPATCH(PackGroups)(layout, values, count, dst, bytes);
}

}  // namespace plox::ipl::lib
#endif  // HWY_ONCE
