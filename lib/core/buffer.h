// Pixel memory: 64-byte aligned (whole cache lines and SIMD vectors) and zero-filled. Shared
// ownership lets a pool take a buffer back when the last image using it is gone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace plox::ipl::lib {

using Buffer = std::shared_ptr<std::uint8_t>;

inline constexpr std::size_t kBufferAlignment = 64;

// Throws std::bad_alloc when the memory is not there. Pages are zeroed lazily by the system,
// so a large buffer costs nothing until it is written.
Buffer allocate_buffer(std::size_t bytes);

}  // namespace plox::ipl::lib
