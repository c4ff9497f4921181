#include "block_reduce.h"

#include <algorithm>
#include <cstring>

#include "../core/error.h"
#include "../core/settings.h"
#include "../core/strip_runner.h"
#include "block_reduce_simd.h"
#include "output.h"

namespace plox::ipl::lib {

namespace {

// How a row of the format is cut into the pixels that blocks are made of.
struct Layout {
    bool bayer;
    unsigned samples_per_pixel;  // the format's channels; a pair of neighbouring sites for Bayer
    int alpha;                   // sample index of alpha, or -1
};

Layout layout_of(const PixelFormatInfo& format) {
    return {format.is_bayer(), format.is_bayer() ? 2u : format.channels, format.layout.alpha};
}

// Whole blocks along one axis; a Bayer axis holds two interleaved colour planes.
std::size_t reduced_extent(std::size_t extent, unsigned factor, bool bayer) {
    if (!bayer) return extent / factor;
    return (extent + 1) / 2 / factor + extent / 2 / factor;
}

// The j-th source row of the block that makes output row `row`.
std::size_t source_row(std::size_t row, unsigned j, unsigned factor, bool bayer) {
    return bayer ? 2 * ((row / 2) * factor + j) + row % 2 : row * factor + j;
}

template <class T>
void bin_samples(const T* const* rows, BlockFactors factors, const Layout& layout, BlockCombine combine,
                 std::uint32_t max, std::size_t first, std::size_t end, T* out) {
    const unsigned spp = layout.samples_per_pixel;
    const std::uint32_t count = factors.x * factors.y;
    for (std::size_t s = first; s < end; ++s) {
        const unsigned c = static_cast<unsigned>(s % spp);
        const std::size_t base = s / spp * factors.x * spp + c;
        std::uint32_t total = 0;
        for (unsigned j = 0; j < factors.y; ++j) {
            for (unsigned i = 0; i < factors.x; ++i) total += rows[j][base + i * spp] & max;
        }
        // Opacity is not brightness: a sum of alphas means nothing.
        const bool average = combine == BlockCombine::average || static_cast<int>(c) == layout.alpha;
        out[s] = static_cast<T>(average ? (total + count / 2) / count : std::min(total, max));
    }
}

template <std::size_t kBytes>
void copy_every_nth_unit(const std::uint8_t* row, unsigned n, std::size_t first, std::size_t end,
                         std::uint8_t* out) {
    for (std::size_t k = first; k < end; ++k) std::memcpy(out + k * kBytes, row + k * n * kBytes, kBytes);
}

void copy_units(const std::uint8_t* row, unsigned n, std::size_t unit_bytes, std::size_t first, std::size_t end,
                std::uint8_t* out) {
    switch (unit_bytes) {
        case 1: return copy_every_nth_unit<1>(row, n, first, end, out);
        case 2: return copy_every_nth_unit<2>(row, n, first, end, out);
        case 3: return copy_every_nth_unit<3>(row, n, first, end, out);
        case 4: return copy_every_nth_unit<4>(row, n, first, end, out);
        case 6: return copy_every_nth_unit<6>(row, n, first, end, out);
        case 8: return copy_every_nth_unit<8>(row, n, first, end, out);
        default:
            for (std::size_t k = first; k < end; ++k)
                std::memcpy(out + k * unit_bytes, row + k * n * unit_bytes, unit_bytes);
    }
}

// The first pixel of each block of a row; a Bayer row of odd output width ends in half a pair.
void decimate_row(const std::uint8_t* row, unsigned factor, std::size_t unit_bytes, std::size_t out_bytes,
                  bool simd, std::uint8_t* out) {
    if (factor == 1) {
        std::memcpy(out, row, out_bytes);
        return;
    }
    const std::size_t units = out_bytes / unit_bytes;
    const std::size_t done = simd && factor == 2 ? decimate2_row_simd(row, units, unit_bytes, out) : 0;
    copy_units(row, factor, unit_bytes, done, units, out);
    const std::size_t tail = out_bytes - units * unit_bytes;
    if (tail != 0) std::memcpy(out + units * unit_bytes, row + units * factor * unit_bytes, tail);
}

template <class T>
void reduce_strip(const Strip<T, T>& strip, const PixelFormatInfo& format, BlockFactors factors,
                  BlockCombine combine) {
    const Layout layout = layout_of(format);
    const std::size_t out_samples = strip.width() * format.channels;
    const T max = static_cast<T>(format.max_value());
    const bool simd = Settings::instance().simd_enabled();
    for (std::size_t row = strip.first(); row < strip.end(); ++row) {
        T* out = strip.target(row);
        if (combine == BlockCombine::first) {
            const T* in = strip.source(source_row(row, 0, factors.y, layout.bayer));
            decimate_row(reinterpret_cast<const std::uint8_t*>(in), factors.x, layout.samples_per_pixel * sizeof(T),
                         out_samples * sizeof(T), simd, reinterpret_cast<std::uint8_t*>(out));
            continue;
        }
        const T* rows[kMaxBlockFactor];
        for (unsigned j = 0; j < factors.y; ++j) rows[j] = strip.source(source_row(row, j, factors.y, layout.bayer));
        std::size_t done = 0;
        if (simd && factors.x == 2 && factors.y == 2) {
            const std::size_t pixels = out_samples / layout.samples_per_pixel;
            done = bin2x2_row_simd(rows[0], rows[1], pixels, layout.samples_per_pixel, max,
                                   combine == BlockCombine::sum, layout.alpha >= 0, out) *
                   layout.samples_per_pixel;
        }
        bin_samples(rows, factors, layout, combine, max, done, out_samples, out);
    }
}

}  // namespace

bool supports_block_reduction(const PixelFormatInfo& format) noexcept {
    switch (format.family) {
        case Family::mono:
        case Family::bayer:
        case Family::rgb:
        case Family::bgr:
        case Family::rgba:
        case Family::bgra:
            return !format.is_packed() && !format.is_float;
        default:
            return false;
    }
}

ReducedSize reduced_size(const PixelFormatInfo& format, std::size_t width, std::size_t height, BlockFactors factors,
                         PLOX_IPL_RETURN_CODE unsupported) {
    if (!supports_block_reduction(format))
        fail(unsupported, "pixel format ", format.name,
             " is not supported: blocks are reduced in unpacked integer mono, Bayer and RGB-family formats");
    for (unsigned factor : {factors.x, factors.y}) {
        if (factor < 1 || factor > kMaxBlockFactor)
            fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "block factor ", factor, " is outside 1 to ", kMaxBlockFactor);
    }
    const bool bayer = format.is_bayer();
    const ReducedSize size{reduced_extent(width, factors.x, bayer), reduced_extent(height, factors.y, bayer)};
    if (size.width == 0 || size.height == 0)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "a ", width, "x", height, " ", format.name,
             " image is smaller than one ", factors.x, "x", factors.y, bayer ? " block of each colour" : " block");
    return size;
}

std::shared_ptr<Image> reduce_blocks(const Image& source, BlockFactors factors, BlockCombine combine) {
    const PixelFormatInfo& format = source.format();
    const ReducedSize size = reduced_size(format, source.width(), source.height(), factors);
    std::shared_ptr<Image> target = Destination::fresh().make(format, size.width, size.height);
    if (format.storage_bits == 8) {
        run_strips<std::uint8_t, std::uint8_t>(source, *target, StripPlan{}, [&](const auto& strip) {
            reduce_strip(strip, format, factors, combine);
        });
    } else {
        run_strips<std::uint16_t, std::uint16_t>(source, *target, StripPlan{}, [&](const auto& strip) {
            reduce_strip(strip, format, factors, combine);
        });
    }
    target->set_timestamp(source.timestamp());
    return target;
}

}  // namespace plox::ipl::lib
