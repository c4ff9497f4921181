// Bayer mosaic to colour, over a band of rows.
#pragma once

#include <cstddef>
#include <cstdint>

#include <umb_plox_ipl/pixel_format.h>

#include "../core/pixel_format_table.h"

namespace plox::ipl::lib {

enum class DemosaicMethod {
    bilinear,     // average of the nearest same-colour neighbours
    directional,  // green along the smoother direction, red and blue from colour differences
};

// Rows and columns a method reads beyond the band. Directional: colour differences 1, the green's
// 5x5 gradient sums 2, gradients 1, second differences 2.
constexpr std::size_t demosaic_halo(DemosaicMethod method) noexcept {
    return method == DemosaicMethod::directional ? 6 : 1;
}

// Demosaics `rows` rows of `width` pixels. `mosaic` points at the first row of the band; the
// demosaic_halo(method) rows above and below it must be readable at `mosaic - k * mosaic_stride`
// and beyond the band (the caller mirrors rows at the image's top and bottom, keeping the colour
// parity). Columns beyond the left and right edges are mirrored inside (x = -1 reads x = 1).
// `pattern` is the pattern of the band's first row. `layout` (of an RGB-family format) places the
// colours of an output pixel. Output values stay within 0..max_value; alpha is max_value.
// Strides are in elements. T is std::uint8_t or std::uint16_t.
template <class T>
void demosaic(const T* mosaic, std::ptrdiff_t mosaic_stride, std::size_t width, std::size_t rows,
              PLOX_IPL_BAYER_PATTERN pattern, DemosaicMethod method, std::uint32_t max_value, ChannelLayout layout,
              T* out, std::ptrdiff_t out_stride);

}  // namespace plox::ipl::lib
