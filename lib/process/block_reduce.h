// Integer block reduction, shared by binning and decimation: which formats, which output size,
// and the runner that combines BlockX by BlockY pixels into one, row strip by row strip.
//
// A Bayer mosaic is reduced colour by colour: its four colour planes are reduced on their own
// and woven back into a mosaic of the same pattern, so a Bayer row is handled as pixels of two
// samples (a pair of neighbouring sites) and its rows two apart.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "../core/image.h"

namespace plox::ipl::lib {

// Factors from 1 to this, along each axis.
inline constexpr unsigned kMaxBlockFactor = 16;

struct BlockFactors {
    unsigned x;
    unsigned y;
};

enum class BlockCombine {
    average,  // rounded half up
    sum,      // saturated at the format's maximum; alpha is averaged
    first,    // the block's top-left pixel (decimation)
};

struct ReducedSize {
    std::size_t width;
    std::size_t height;
};

// Unpacked integer mono, Bayer and RGB-family formats.
bool supports_block_reduction(const PixelFormatInfo& format) noexcept;

// Whole blocks only: remaining columns and rows at the right and bottom are dropped (for Bayer
// mosaics: per colour plane). Throws INVALID_ARGUMENT naming the size when not even one block
// fits or a factor is out of range, and `unsupported` naming the format for other formats.
ReducedSize reduced_size(const PixelFormatInfo& format, std::size_t width, std::size_t height, BlockFactors factors,
                         PLOX_IPL_RETURN_CODE unsupported = PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED);

// A new image of the same format (and Bayer pattern) and reduced_size(); the timestamp is kept.
std::shared_ptr<Image> reduce_blocks(const Image& source, BlockFactors factors, BlockCombine combine);

}  // namespace plox::ipl::lib
