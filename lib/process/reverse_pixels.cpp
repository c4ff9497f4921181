#include "reverse_pixels.h"

#include <cstring>
#include <type_traits>

#include "../core/settings.h"
#include "whole_pixels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "lib/process/reverse_pixels.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

// This file is compiled once per SIMD target; the scalar code only the first time.
#ifndef PLOX_IPL_REVERSE_PIXELS_SCALAR
#define PLOX_IPL_REVERSE_PIXELS_SCALAR
namespace plox::ipl::lib {
namespace reverse_detail {

// Pixels [first, pixels) of the output.
template <std::size_t N>
void reverse_scalar(const std::uint8_t* in, std::uint8_t* out, std::size_t first, std::size_t pixels) {
    for (std::size_t x = first; x < pixels; ++x) std::memcpy(out + x * N, in + (pixels - 1 - x) * N, N);
}

// Reverses pixels [first, end) of the row among themselves.
template <std::size_t N>
void reverse_in_place_scalar(std::uint8_t* row, std::size_t first, std::size_t end) {
    std::uint8_t held[N];
    for (; end - first >= 2; ++first, --end) {
        std::memcpy(held, row + first * N, N);
        std::memcpy(row + first * N, row + (end - 1) * N, N);
        std::memcpy(row + (end - 1) * N, held, N);
    }
}

}  // namespace reverse_detail
}  // namespace plox::ipl::lib
#endif

HWY_BEFORE_NAMESPACE();
namespace plox::ipl::lib {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// A pixel is K lanes of type T: one whole lane, or three interleaved ones (RGB8, RGB12,
// Coord3D_ABC32f), which are de-interleaved, reversed and interleaved again.
template <class T, int K, class D>
HWY_INLINE void LoadPixels(D d, const T* p, hn::Vec<D>& a, hn::Vec<D>& b, hn::Vec<D>& c) {
    if constexpr (K == 1) a = hn::LoadU(d, p);
    else hn::LoadInterleaved3(d, p, a, b, c);
}

// This Highway has no Reverse of 8-bit lanes: reverse the bytes of each block, then the blocks.
template <class T, class D>
HWY_INLINE hn::Vec<D> ReverseLanes(D d, hn::Vec<D> v) {
#if HWY_TARGET != HWY_SCALAR
    if constexpr (sizeof(T) == 1) {
        alignas(16) static constexpr std::uint8_t kBackwards[16] = {15, 14, 13, 12, 11, 10, 9, 8,
                                                                    7,  6,  5,  4,  3,  2,  1, 0};
        return hn::ReverseBlocks(d, hn::TableLookupBytes(v, hn::LoadDup128(d, kBackwards)));
    } else
#endif
    {
        return hn::Reverse(d, v);
    }
}

template <class T, int K, class D>
HWY_INLINE void StoreReversed(D d, T* p, hn::Vec<D> a, hn::Vec<D> b, hn::Vec<D> c) {
    if constexpr (K == 1) hn::StoreU(ReverseLanes<T>(d, a), d, p);
    else hn::StoreInterleaved3(ReverseLanes<T>(d, a), ReverseLanes<T>(d, b), ReverseLanes<T>(d, c), d, p);
}

// Whole vectors of output pixels; returns how many pixels were written.
template <class T, int K>
std::size_t ReverseVectors(const std::uint8_t* in, std::uint8_t* out, std::size_t pixels) {
    const hn::ScalableTag<T> d;
    const std::size_t lanes = hn::Lanes(d);
    const T* src = reinterpret_cast<const T*>(in);
    T* dst = reinterpret_cast<T*>(out);
    hn::Vec<decltype(d)> a, b, c;
    std::size_t x = 0;
    for (; x + lanes <= pixels; x += lanes) {
        LoadPixels<T, K>(d, src + (pixels - x - lanes) * K, a, b, c);
        StoreReversed<T, K>(d, dst + x * K, a, b, c);
    }
    return x;
}

// Swaps reversed vectors from both ends towards the middle; returns the pixels done at each end.
template <class T, int K>
std::size_t ReverseVectorsInPlace(std::uint8_t* row, std::size_t pixels) {
    const hn::ScalableTag<T> d;
    const std::size_t lanes = hn::Lanes(d);
    T* p = reinterpret_cast<T*>(row);
    hn::Vec<decltype(d)> a0, b0, c0, a1, b1, c1;
    std::size_t done = 0;
    for (; pixels - 2 * done >= 2 * lanes; done += lanes) {
        LoadPixels<T, K>(d, p + done * K, a0, b0, c0);
        LoadPixels<T, K>(d, p + (pixels - done - lanes) * K, a1, b1, c1);
        StoreReversed<T, K>(d, p + done * K, a1, b1, c1);
        StoreReversed<T, K>(d, p + (pixels - done - lanes) * K, a0, b0, c0);
    }
    return done;
}

#if HWY_TARGET != HWY_SCALAR
// 3-byte pixels five at a time in 16-byte vectors, one shuffle each: a vector holds the byte before
// its five pixels, and its store's last byte is a spare that the next store overwrites. Returns
// how many pixels were written; the caller writes the rest, including the pixel under the spare.
std::size_t ReverseTriples(const std::uint8_t* in, std::uint8_t* out, std::size_t pixels) {
    const hn::Full128<std::uint8_t> d;
    alignas(16) static constexpr std::uint8_t kFiveBackwards[16] = {13, 14, 15, 10, 11, 12, 7, 8,
                                                                     9,  4,  5,  6,  1,  2,  3, 0};
    const auto table = hn::Load(d, kFiveBackwards);
    std::size_t x = 0;
    for (; x + 6 <= pixels; x += 5) {
        const auto five = hn::LoadU(d, in + 3 * (pixels - x - 5) - 1);
        hn::StoreU(hn::TableLookupBytes(five, table), d, out + 3 * x);
    }
    return x;
}
#endif

template <class Body>
HWY_INLINE std::size_t ByPixelBytes(std::size_t pixel_bytes, Body&& body) {
    switch (pixel_bytes) {
        case 1: return body(std::integral_constant<int, 1>(), std::uint8_t{});
        case 2: return body(std::integral_constant<int, 1>(), std::uint16_t{});
        case 4: return body(std::integral_constant<int, 1>(), std::uint32_t{});
        case 8: return body(std::integral_constant<int, 1>(), std::uint64_t{});
        case 3: return body(std::integral_constant<int, 3>(), std::uint8_t{});
        case 6: return body(std::integral_constant<int, 3>(), std::uint16_t{});
        case 12: return body(std::integral_constant<int, 3>(), std::uint32_t{});
    }
    return 0;
}

std::size_t ReversePixelVectors(const std::uint8_t* in, std::uint8_t* out, std::size_t pixels,
                                std::size_t pixel_bytes) {
#if HWY_TARGET != HWY_SCALAR
    if (pixel_bytes == 3) return ReverseTriples(in, out, pixels);
#endif
    return ByPixelBytes(pixel_bytes, [&](auto lanes_per_pixel, auto lane) {
        return ReverseVectors<decltype(lane), decltype(lanes_per_pixel)::value>(in, out, pixels);
    });
}

std::size_t ReversePixelVectorsInPlace(std::uint8_t* row, std::size_t pixels, std::size_t pixel_bytes) {
    return ByPixelBytes(pixel_bytes, [&](auto lanes_per_pixel, auto lane) {
        return ReverseVectorsInPlace<decltype(lane), decltype(lanes_per_pixel)::value>(row, pixels);
    });
}

}  // namespace HWY_NAMESPACE
}  // namespace plox::ipl::lib
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace plox::ipl::lib {

HWY_EXPORT(ReversePixelVectors);
HWY_EXPORT(ReversePixelVectorsInPlace);

void reverse_pixels(const std::uint8_t* in, std::uint8_t* out, std::size_t pixels, std::size_t pixel_bytes) {
    const std::size_t done =
        Settings::instance().simd_enabled() ? HWY_DYNAMIC_DISPATCH(ReversePixelVectors)(in, out, pixels, pixel_bytes) : 0;
    with_pixel_size(pixel_bytes, [&](auto size) { reverse_detail::reverse_scalar<size.bytes>(in, out, done, pixels); });
}

void reverse_pixels_in_place(std::uint8_t* row, std::size_t pixels, std::size_t pixel_bytes) {
    const std::size_t done =
        Settings::instance().simd_enabled() ? HWY_DYNAMIC_DISPATCH(ReversePixelVectorsInPlace)(row, pixels, pixel_bytes)
                                            : 0;
    with_pixel_size(pixel_bytes,
                    [&](auto size) { reverse_detail::reverse_in_place_scalar<size.bytes>(row, done, pixels - done); });
}

}  // namespace plox::ipl::lib
#endif
