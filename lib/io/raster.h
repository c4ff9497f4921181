// Decoded pictures as the file codecs see them: rows of 8 or 16-bit samples, grey or colour in
// R, G, B(, A) order, with no padding between rows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "../core/buffer.h"
#include "../core/error.h"

namespace plox::ipl::lib {

// Pictures larger than this many sample bytes are refused before any memory is taken for them,
// so a forged header cannot make a reader allocate without bound.
inline constexpr std::uint64_t kMaxRasterBytes = std::uint64_t{4} << 30;

// No coding we read expands its data more than this: deflate's ceiling (a 258-byte match in two
// bits). Huffman-coded JPEG spends at least two bits on a block of 64 samples, so it stays
// below 256 (512 for progressive files); only forged sizes and decompression bombs go beyond.
inline constexpr std::uint64_t kMaxExpansion = 1032;

// Decoding memory a file may claim per byte of its size once the claim passes 128 MiB. A file
// that turns out damaged only at its end has cost all of it by then: this way one of under 1 MiB
// costs at most 128 MiB and well under a second (inflating zeros, the slowest, runs at 250 MB/s).
inline constexpr std::uint64_t kMaxMemoryPerFileByte = 128;
inline constexpr std::uint64_t kFreeMemory = kMaxMemoryPerFileByte << 20;

// a * b, or UINT64_MAX where that overflows: claims of forged headers are compared, not used.
inline std::uint64_t saturated_product(std::uint64_t a, std::uint64_t b) {
    return b != 0 && a > UINT64_MAX / b ? UINT64_MAX : a * b;
}

// Refuses (IO_ERROR) a `type` picture of width x height whose header claims more than a file of
// `file_size` bytes can hold: `coded` bytes of samples as the file codes them (before palettes or
// subsampled chroma are expanded) and `memory` bytes held while decoding them.
inline void check_claim(const char* type, std::uint64_t width, std::uint64_t height, std::uint64_t coded,
                        std::uint64_t memory, std::uint64_t file_size) {
    if (memory > kMaxRasterBytes)
        fail(PLOX_IPL_RETURN_CODE_IO_ERROR, type, " image of ", width, "x", height, " is too large: it needs ",
             memory, " bytes, more than the limit of ", kMaxRasterBytes);
    if (coded > saturated_product(kMaxExpansion, file_size))
        fail(PLOX_IPL_RETURN_CODE_IO_ERROR, type, " file of ", file_size, " bytes is too short for ", width, "x",
             height, " pixels (", coded, " bytes of samples, more than ", kMaxExpansion,
             " per byte of file): it is truncated, forged or a decompression bomb");
    if (memory > kFreeMemory && memory > saturated_product(kMaxMemoryPerFileByte, file_size))
        fail(PLOX_IPL_RETURN_CODE_IO_ERROR, type, " file of ", file_size, " bytes is too short for ", width, "x",
             height, " pixels: decoding them takes ", memory, " bytes, and beyond ", kFreeMemory,
             " a file must hold one byte for every ", kMaxMemoryPerFileByte);
}

// What an encoder writes. 16-bit samples are little-endian words holding `significant_bits`
// bits in their low bits (a 12-bit camera value 4095 is the word 4095).
struct RasterView {
    const std::uint8_t* data;
    std::size_t width;
    std::size_t height;
    unsigned channels;          // 1 grey, 3 RGB, 4 RGBA
    unsigned bits;              // 8 or 16
    unsigned significant_bits;  // 8 for 8-bit; 9 to 16 for 16-bit
};

// What a decoder gives. Channels 1 grey, 2 grey + alpha, 3 RGB, 4 RGBA; 16-bit samples as
// little-endian words. A PNG with an sBIT chunk gives the original values back (a 12-bit image
// written by us reads as words up to 4095 with significant_bits 12).
struct Raster {
    std::size_t width = 0;
    std::size_t height = 0;
    unsigned channels = 0;
    unsigned bits = 8;
    unsigned significant_bits = 8;
    Buffer pixels;  // width * height * channels * bits / 8 bytes
};

// An encoded file in memory.
struct Encoded {
    std::shared_ptr<const std::uint8_t> data;
    std::size_t size = 0;
};

}  // namespace plox::ipl::lib
