#include "colour_matrix_rows.h"

#include <cmath>

// The byte permutes of AVX-512 VBMI gather and scatter the interleaved 8-bit channels.
#ifndef HWY_WANT_AVX3_DL
#define HWY_WANT_AVX3_DL
#endif
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "lib/process/colour_matrix_rows.cpp"
#include <hwy/foreach_target.h>  // must precede highway.h
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace plox::ipl::lib {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR

template <class T, unsigned kChannels>
HWY_NOINLINE std::size_t MatrixPixels(const T* in, T* out, std::size_t pixels, const StoredMatrix& sm) {
    const hn::ScalableTag<float> df;
    const hn::Rebind<std::int32_t, decltype(df)> di;
    const hn::Rebind<T, decltype(df)> dt;
    const std::size_t n = hn::Lanes(df);
    hn::Vec<decltype(df)> m[9];
    for (unsigned k = 0; k < 9; ++k) m[k] = hn::Set(df, sm.m[k]);
    const auto mask = hn::Set(dt, static_cast<T>(sm.mask));
    const auto zero = hn::Zero(df);
    const auto half = hn::Set(df, 0.5f);
    const auto top = hn::Set(df, sm.max);
    const auto to_float = [&](hn::Vec<decltype(dt)> v) { return hn::ConvertTo(df, hn::PromoteTo(di, hn::And(v, mask))); };
    const auto channel = [&](unsigned k, hn::Vec<decltype(df)> a, hn::Vec<decltype(df)> b, hn::Vec<decltype(df)> c) {
        const auto sum = hn::Add(hn::Add(hn::Add(hn::Mul(m[3 * k], a), hn::Mul(m[3 * k + 1], b)),
                                         hn::Mul(m[3 * k + 2], c)),
                                 half);
        return hn::DemoteTo(dt, hn::ConvertTo(di, hn::Min(hn::Max(sum, zero), top)));
    };
    std::size_t x = 0;
    for (; x + n <= pixels; x += n) {
        hn::Vec<decltype(dt)> v0, v1, v2, v3;
        if constexpr (kChannels == 3) hn::LoadInterleaved3(dt, in + 3 * x, v0, v1, v2);
        else hn::LoadInterleaved4(dt, in + 4 * x, v0, v1, v2, v3);
        const auto a = to_float(v0);
        const auto b = to_float(v1);
        const auto c = to_float(v2);
        const auto o0 = channel(0, a, b, c);
        const auto o1 = channel(1, a, b, c);
        const auto o2 = channel(2, a, b, c);
        if constexpr (kChannels == 3) hn::StoreInterleaved3(o0, o1, o2, dt, out + 3 * x);
        else hn::StoreInterleaved4(o0, o1, o2, v3, dt, out + 4 * x);
    }
    return x;
}

#if HWY_TARGET == HWY_AVX3_DL

// 64 pixels are kChannels registers. Group g (pixels 16g..16g+15) is gathered from registers
// `low` and `low + 1` into 16-bit pairs (ch0, ch1) and (ch2, 1) for vpmaddwd; the 32-bit sums
// of the four groups pack with saturation into one register per channel, byte
// 16 l + 4 g + j holding pixel 16 g + 4 l + j, and the stores gather the channels back.
template <unsigned kChannels>
struct FixedLayout {
    alignas(64) std::uint8_t pairs[4][64] = {};
    alignas(64) std::uint8_t third[4][64] = {};
    alignas(64) std::uint8_t gather[kChannels][64] = {};
    unsigned low[4] = {};
    std::uint64_t from_third[kChannels] = {};
    std::uint64_t alpha[kChannels] = {};
};

template <unsigned kChannels>
constexpr FixedLayout<kChannels> fixed_layout() {
    FixedLayout<kChannels> l;
    for (unsigned g = 0; g < 4; ++g) {
        const unsigned first_byte = 16 * kChannels * g;
        l.low[g] = first_byte / 64 < kChannels - 2 ? first_byte / 64 : kChannels - 2;
        const unsigned base = first_byte - 64 * l.low[g];
        for (unsigned i = 0; i < 16; ++i) {
            l.pairs[g][4 * i] = static_cast<std::uint8_t>(base + kChannels * i);
            l.pairs[g][4 * i + 2] = static_cast<std::uint8_t>(base + kChannels * i + 1);
            l.third[g][4 * i] = static_cast<std::uint8_t>(base + kChannels * i + 2);
            l.third[g][4 * i + 2] = 1;  // not gathered: the lane keeps this value
        }
    }
    for (unsigned r = 0; r < kChannels; ++r) {
        for (unsigned t = 0; t < 64; ++t) {
            const unsigned p = (64 * r + t) / kChannels;
            const unsigned c = (64 * r + t) % kChannels;
            const unsigned packed = 16 * ((p >> 2) & 3) + 4 * (p >> 4) + (p & 3);
            l.gather[r][t] = static_cast<std::uint8_t>(packed + (c == 1 ? 64 : 0));
            if (c == 2) l.from_third[r] |= std::uint64_t{1} << t;
            if (c == 3) l.alpha[r] |= std::uint64_t{1} << t;
        }
    }
    return l;
}

template <unsigned kChannels>
HWY_NOINLINE std::size_t FixedPixels(const std::uint8_t* in, std::uint8_t* out, std::size_t pixels,
                                     const StoredMatrix& sm) {
    static constexpr FixedLayout<kChannels> l = fixed_layout<kChannels>();
    constexpr __mmask64 kPairs = 0x5555555555555555ull;
    constexpr __mmask64 kThird = 0x1111111111111111ull;
    const auto& q = sm.fixed;
    const auto word = [](int lo, int hi) {
        return _mm512_set1_epi32(static_cast<int>(static_cast<std::uint16_t>(lo) |
                                                  static_cast<std::uint32_t>(static_cast<std::uint16_t>(hi)) << 16));
    };
    const int half = 1 << (sm.shift - 1);
    const __m512i m01[3] = {word(q[0], q[1]), word(q[3], q[4]), word(q[6], q[7])};
    const __m512i m2[3] = {word(q[2], half), word(q[5], half), word(q[8], half)};
    const __m128i shift = _mm_cvtsi32_si128(static_cast<int>(sm.shift));
    std::size_t x = 0;
    for (; x + 64 <= pixels; x += 64) {
        const std::uint8_t* src = in + kChannels * x;
        __m512i v[kChannels];
        for (unsigned r = 0; r < kChannels; ++r) v[r] = _mm512_loadu_si512(src + 64 * r);
        __m512i sums[3][4];
        for (unsigned g = 0; g < 4; ++g) {
            const __m512i a = v[l.low[g]], b = v[l.low[g] + 1];
            const __m512i pairs = _mm512_maskz_permutex2var_epi8(kPairs, a, _mm512_load_si512(l.pairs[g]), b);
            const __m512i third = _mm512_mask2_permutex2var_epi8(a, _mm512_load_si512(l.third[g]), kThird, b);
            for (unsigned k = 0; k < 3; ++k) {
                const __m512i sum = _mm512_add_epi32(_mm512_madd_epi16(pairs, m01[k]), _mm512_madd_epi16(third, m2[k]));
                sums[k][g] = _mm512_sra_epi32(sum, shift);
            }
        }
        __m512i packed[3];
        for (unsigned k = 0; k < 3; ++k)
            packed[k] = _mm512_packus_epi16(_mm512_packs_epi32(sums[k][0], sums[k][1]),
                                            _mm512_packs_epi32(sums[k][2], sums[k][3]));
        std::uint8_t* dst = out + kChannels * x;
        for (unsigned r = 0; r < kChannels; ++r) {
            const __m512i index = _mm512_load_si512(l.gather[r]);
            __m512i w = _mm512_permutex2var_epi8(packed[0], index, packed[1]);
            w = _mm512_mask_permutexvar_epi8(w, l.from_third[r], index, packed[2]);
            if constexpr (kChannels == 4) w = _mm512_mask_blend_epi8(l.alpha[r], w, v[r]);
            _mm512_storeu_si512(dst + 64 * r, w);
        }
    }
    return x;
}

#else

template <unsigned kChannels>
HWY_NOINLINE std::size_t FixedPixels(const std::uint8_t* in, std::uint8_t* out, std::size_t pixels,
                                     const StoredMatrix& sm) {
    const hn::ScalableTag<std::int32_t> di;
    const hn::Rebind<std::uint8_t, decltype(di)> d8;
    const std::size_t n = hn::Lanes(di);
    hn::Vec<decltype(di)> q[9];
    for (unsigned k = 0; k < 9; ++k) q[k] = hn::Set(di, sm.fixed[k]);
    const auto half = hn::Set(di, 1 << (sm.shift - 1));
    const int shift = static_cast<int>(sm.shift);
    const auto channel = [&](unsigned k, hn::Vec<decltype(di)> a, hn::Vec<decltype(di)> b, hn::Vec<decltype(di)> c) {
        const auto sum = hn::Add(hn::Add(hn::Mul(q[3 * k], a), hn::Mul(q[3 * k + 1], b)),
                                 hn::Add(hn::Mul(q[3 * k + 2], c), half));
        return hn::DemoteTo(d8, hn::ShiftRightSame(sum, shift));  // saturates to 0..255
    };
    std::size_t x = 0;
    for (; x + n <= pixels; x += n) {
        hn::Vec<decltype(d8)> v0, v1, v2, v3;
        if constexpr (kChannels == 3) hn::LoadInterleaved3(d8, in + 3 * x, v0, v1, v2);
        else hn::LoadInterleaved4(d8, in + 4 * x, v0, v1, v2, v3);
        const auto a = hn::PromoteTo(di, v0);
        const auto b = hn::PromoteTo(di, v1);
        const auto c = hn::PromoteTo(di, v2);
        const auto o0 = channel(0, a, b, c);
        const auto o1 = channel(1, a, b, c);
        const auto o2 = channel(2, a, b, c);
        if constexpr (kChannels == 3) hn::StoreInterleaved3(o0, o1, o2, d8, out + 3 * x);
        else hn::StoreInterleaved4(o0, o1, o2, v3, d8, out + 4 * x);
    }
    return x;
}

#endif  // HWY_TARGET == HWY_AVX3_DL

template <class T>
std::size_t Matrix(const T* in, T* out, std::size_t pixels, const StoredMatrix& sm) {
    if constexpr (sizeof(T) == 1) {
        if (sm.shift != 0)
            return sm.channels == 3 ? FixedPixels<3>(in, out, pixels, sm) : FixedPixels<4>(in, out, pixels, sm);
    }
    return sm.channels == 3 ? MatrixPixels<T, 3>(in, out, pixels, sm) : MatrixPixels<T, 4>(in, out, pixels, sm);
}

#else

template <class T>
std::size_t Matrix(const T*, T*, std::size_t, const StoredMatrix&) {
    return 0;
}

#endif  // HWY_TARGET != HWY_SCALAR

std::size_t MatrixU8(const std::uint8_t* in, std::uint8_t* out, std::size_t pixels, const StoredMatrix& sm) {
    return Matrix(in, out, pixels, sm);
}

std::size_t MatrixU16(const std::uint16_t* in, std::uint16_t* out, std::size_t pixels, const StoredMatrix& sm) {
    return Matrix(in, out, pixels, sm);
}

}  // namespace HWY_NAMESPACE
}  // namespace plox::ipl::lib
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace plox::ipl::lib {

namespace {

// Finer steps no longer change a result; coarser ones could cost more than one unit.
constexpr unsigned kMaxShift = 14;
constexpr unsigned kMinShift = 10;

template <class T>
void matrix_pixels(const T* in, T* out, std::size_t first, std::size_t end, const StoredMatrix& sm) {
    const unsigned channels = sm.channels;
    const auto& m = sm.m;
    for (std::size_t x = first; x < end; ++x) {
        const T* p = in + x * channels;
        const float a = static_cast<float>(p[0] & sm.mask);
        const float b = static_cast<float>(p[1] & sm.mask);
        const float c = static_cast<float>(p[2] & sm.mask);
        T* q = out + x * channels;
        for (unsigned k = 0; k < 3; ++k) {
            const float t = m[3 * k] * a + m[3 * k + 1] * b + m[3 * k + 2] * c + 0.5f;
            q[k] = static_cast<T>(t > 0.0f ? (t < sm.max ? t : sm.max) : 0.0f);
        }
        if (channels == 4) q[3] = p[3];
    }
}

void fixed_pixels(const std::uint8_t* in, std::uint8_t* out, std::size_t first, std::size_t end,
                  const StoredMatrix& sm) {
    const unsigned channels = sm.channels;
    const auto& f = sm.fixed;
    const std::int32_t half = std::int32_t{1} << (sm.shift - 1);
    for (std::size_t x = first; x < end; ++x) {
        const std::uint8_t* p = in + x * channels;
        const std::int32_t a = p[0], b = p[1], c = p[2];
        std::uint8_t* q = out + x * channels;
        for (unsigned k = 0; k < 3; ++k) {
            const std::int32_t t = (f[3 * k] * a + f[3 * k + 1] * b + f[3 * k + 2] * c + half) >> sm.shift;
            q[k] = static_cast<std::uint8_t>(t < 0 ? 0 : (t > 255 ? 255 : t));
        }
        if (channels == 4) q[3] = p[3];
    }
}

}  // namespace

HWY_EXPORT(MatrixU8);
HWY_EXPORT(MatrixU16);

void derive_fixed_point(StoredMatrix& matrix) {
    float largest = 0.0f;
    for (float v : matrix.m) largest = std::fmax(largest, std::fabs(v));
    matrix.fixed = {};
    matrix.shift = 0;
    if (matrix.max != 255.0f || matrix.mask != 0xFF) return;  // the integer kernels saturate to a full byte
    for (unsigned s = kMaxShift; s >= kMinShift; --s) {
        if (std::lround(largest * static_cast<float>(1u << s)) > INT16_MAX) continue;
        for (unsigned k = 0; k < 9; ++k)
            matrix.fixed[k] = static_cast<std::int16_t>(std::lround(matrix.m[k] * static_cast<float>(1u << s)));
        matrix.shift = s;
        return;
    }
}

void colour_matrix_row(const std::uint8_t* in, std::uint8_t* out, std::size_t first, std::size_t end,
                       const StoredMatrix& matrix) {
    if (matrix.shift != 0) fixed_pixels(in, out, first, end, matrix);
    else matrix_pixels(in, out, first, end, matrix);
}

void colour_matrix_row(const std::uint16_t* in, std::uint16_t* out, std::size_t first, std::size_t end,
                       const StoredMatrix& matrix) {
    matrix_pixels(in, out, first, end, matrix);
}

std::size_t colour_matrix_row_simd(const std::uint8_t* in, std::uint8_t* out, std::size_t pixels,
                                   const StoredMatrix& matrix) {
    return HWY_DYNAMIC_DISPATCH(MatrixU8)(in, out, pixels, matrix);
}

std::size_t colour_matrix_row_simd(const std::uint16_t* in, std::uint16_t* out, std::size_t pixels,
                                   const StoredMatrix& matrix) {
    return HWY_DYNAMIC_DISPATCH(MatrixU16)(in, out, pixels, matrix);
}

}  // namespace plox::ipl::lib
#endif  // HWY_ONCE
