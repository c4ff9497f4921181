// Directional Bayer demosaicing: green interpolated along the row and the column, weighted by the
// local colour-difference gradients, then red and blue from the colour differences.
#pragma once

#include <cstddef>
#include <cstdint>

#include <umb_plox_ipl/pixel_format.h>

#include "../core/pixel_format_table.h"

namespace plox::ipl::lib {

// As demosaic() (demosaic.h) with DemosaicMethod::directional: demosaic_halo() of it, six rows,
// must be readable above and below the band.
template <class T>
void directional_demosaic(const T* mosaic, std::ptrdiff_t mosaic_stride, std::size_t width, std::size_t rows,
                          PLOX_IPL_BAYER_PATTERN pattern, std::uint32_t max_value, ChannelLayout layout, T* out,
                          std::ptrdiff_t out_stride);

}  // namespace plox::ipl::lib
