// Pixel memory: 64-byte aligned (whole cache lines and SIMD vectors). Shared ownership lets a
// pool take a buffer back when the last image using it is gone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace plox::ipl::lib {

using Buffer = std::shared_ptr<std::uint8_t>;

inline constexpr std::size_t kBufferAlignment = 64;

enum class Fill { zeros, none };

// Throws std::bad_alloc when the memory is not there. Fill::none is for results that overwrite
// every byte: it skips zeroing memory the allocator hands out again.
Buffer allocate_buffer(std::size_t bytes, Fill fill = Fill::zeros);

}  // namespace plox::ipl::lib
