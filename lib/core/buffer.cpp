#include "buffer.h"

#include <cstdlib>
#include <new>

namespace plox::ipl::lib {

Buffer allocate_buffer(std::size_t bytes, Fill fill) {
    if (bytes > SIZE_MAX - kBufferAlignment) throw std::bad_alloc();
    // calloc gets fresh pages zeroed lazily by the system, so zeros cost nothing up front.
    void* raw = fill == Fill::zeros ? std::calloc(bytes + kBufferAlignment, 1) : std::malloc(bytes + kBufferAlignment);
    if (raw == nullptr) throw std::bad_alloc();
    const auto address = reinterpret_cast<std::uintptr_t>(raw);
    auto* aligned = reinterpret_cast<std::uint8_t*>((address + kBufferAlignment) & ~(kBufferAlignment - 1));
    return Buffer(aligned, [raw](std::uint8_t*) { std::free(raw); });
}

}  // namespace plox::ipl::lib
