#include "colour_matrix_rows.h"

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

template <class T>
std::size_t Matrix(const T* in, T* out, std::size_t pixels, const StoredMatrix& sm) {
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

}  // namespace

HWY_EXPORT(MatrixU8);
HWY_EXPORT(MatrixU16);

void colour_matrix_row(const std::uint8_t* in, std::uint8_t* out, std::size_t first, std::size_t end,
                       const StoredMatrix& matrix) {
    matrix_pixels(in, out, first, end, matrix);
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
