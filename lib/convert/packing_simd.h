// Vector kernels for the whole groups of a packed run, picked at run time for the CPU. Each
// returns how many values it handled (a multiple of 8, so of every group size); the caller does
// the rest. `src` starts at a group boundary and `bytes` is how far the kernel may read or write.
#pragma once

#include <cstddef>
#include <cstdint>

namespace plox::ipl::lib {

// The group-aligned layouts the kernels know: 10p, 12p, 10g40, 12g24.
struct PackedLayout {
    unsigned bits;  // 10 or 12
    bool grouped;   // msb_grouped rather than lsb_stream
};

std::size_t unpack_groups_simd(PackedLayout layout, const std::uint8_t* src, std::size_t bytes, std::size_t values,
                               std::uint16_t* out);
// Each value narrowed to its 8 high bits.
std::size_t unpack_groups_simd_to_8(PackedLayout layout, const std::uint8_t* src, std::size_t bytes,
                                    std::size_t values, std::uint8_t* out);
// Only the low `layout.bits` bits of each value are written.
std::size_t pack_groups_simd(PackedLayout layout, const std::uint16_t* values, std::size_t count, std::uint8_t* dst,
                             std::size_t bytes);

}  // namespace plox::ipl::lib
