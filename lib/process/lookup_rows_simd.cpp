#include "lookup_rows_simd.h"

// AVX-512 VBMI holds a 256-entry byte table in four registers and looks up 64 bytes at once.
#ifndef HWY_WANT_AVX3_DL
#define HWY_WANT_AVX3_DL
#endif
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "lib/process/lookup_rows_simd.cpp"
#include <hwy/foreach_target.h>  // must precede highway.h
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace plox::ipl::lib {
namespace HWY_NAMESPACE {

#if HWY_TARGET == HWY_AVX3_DL

// Two 128-entry lookups on the low 7 bits; bit 7 picks which.
HWY_INLINE __m512i Lookup(const __m512i (&t)[4], __m512i v, __mmask64 high) {
    return _mm512_mask_blend_epi8(high, _mm512_permutex2var_epi8(t[0], v, t[1]),
                                  _mm512_permutex2var_epi8(t[2], v, t[3]));
}

template <unsigned kTables>
HWY_NOINLINE std::size_t MapBytesWith(const std::uint8_t* in, std::uint8_t* out, std::size_t n,
                                      const ByteLookupPlan& plan) {
    __m512i t[kTables][4];
    for (unsigned d = 0; d < kTables; ++d) {
        for (unsigned q = 0; q < 4; ++q) t[d][q] = _mm512_loadu_si512(plan.tables[d] + 64 * q);
    }
    const bool copies = plan.copied[0] != 0 || plan.copied[1] != 0 || plan.copied[2] != 0;
    std::size_t x = 0;
    unsigned phase = 0;
    for (; x + 64 <= n; x += 64) {
        const __m512i v = _mm512_loadu_si512(in + x);
        const __mmask64 high = _mm512_movepi8_mask(v);
        __m512i r = Lookup(t[0], v, high);
        for (unsigned d = 1; d < kTables; ++d) r = _mm512_mask_blend_epi8(plan.masks[phase][d], r, Lookup(t[d], v, high));
        if (copies) r = _mm512_mask_blend_epi8(plan.copied[phase], r, v);
        _mm512_storeu_si512(out + x, r);
        if (++phase == plan.phases) phase = 0;
    }
    return x;
}

std::size_t MapBytes(const std::uint8_t* in, std::uint8_t* out, std::size_t n, const ByteLookupPlan& plan) {
    switch (plan.count) {
        case 1: return MapBytesWith<1>(in, out, n, plan);
        case 2: return MapBytesWith<2>(in, out, n, plan);
        case 3: return MapBytesWith<3>(in, out, n, plan);
        case 4: return MapBytesWith<4>(in, out, n, plan);
        default: return 0;  // nothing but copies: the scalar path
    }
}

#else

// Other targets keep the scalar lookups: a gather of bytes is no faster than loads.
std::size_t MapBytes(const std::uint8_t*, std::uint8_t*, std::size_t, const ByteLookupPlan&) {
    return 0;
}

#endif  // HWY_TARGET == HWY_AVX3_DL

}  // namespace HWY_NAMESPACE
}  // namespace plox::ipl::lib
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace plox::ipl::lib {

HWY_EXPORT(MapBytes);

ByteLookupPlan byte_lookup_plan(const std::uint8_t* const* classes, unsigned period) {
    ByteLookupPlan plan;
    plan.phases = 64 % period == 0 ? 1 : period;
    for (unsigned c = 0; c < period; ++c) {
        const std::uint8_t* table = classes[c];
        unsigned d = 0;
        while (d < plan.count && plan.tables[d] != table) ++d;
        if (table != nullptr && d == plan.count) plan.tables[plan.count++] = table;
        for (unsigned phase = 0; phase < plan.phases; ++phase) {
            for (unsigned i = 0; i < 64; ++i) {
                if ((i + phase) % period != c) continue;
                const std::uint64_t bit = std::uint64_t{1} << i;
                if (table == nullptr) plan.copied[phase] |= bit;
                else plan.masks[phase][d] |= bit;
            }
        }
    }
    return plan;
}

std::size_t map_bytes_simd(const std::uint8_t* in, std::uint8_t* out, std::size_t n, const ByteLookupPlan& plan) {
    return HWY_DYNAMIC_DISPATCH(MapBytes)(in, out, n, plan);
}

}  // namespace plox::ipl::lib
#endif  // HWY_ONCE
