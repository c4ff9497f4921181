#include "buffer.h"

#include <cstdlib>
#include <new>

#include <sys/mman.h>
#include <unistd.h>

namespace plox::ipl::lib {

namespace {
constexpr std::size_t kHugePageThreshold = std::size_t{4} << 20;
}  // namespace

Buffer allocate_buffer(std::size_t bytes, Fill fill) {
    if (bytes > SIZE_MAX - kBufferAlignment) throw std::bad_alloc();
    // calloc gets fresh pages zeroed lazily by the system, so zeros cost nothing up front.
    void* raw = fill == Fill::zeros ? std::calloc(bytes + kBufferAlignment, 1) : std::malloc(bytes + kBufferAlignment);
    if (raw == nullptr) throw std::bad_alloc();
    const auto address = reinterpret_cast<std::uintptr_t>(raw);
    // Whole frames fault in 2 MiB at a time instead of 4 KiB: a fresh 36 MB result otherwise
    // costs more in page faults than in writing its pixels (NumPy does the same).
    if (bytes >= kHugePageThreshold) {
        const std::uintptr_t page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
        const std::uintptr_t first = (address + page - 1) & ~(page - 1);
        const std::uintptr_t end = (address + bytes + kBufferAlignment) & ~(page - 1);
        if (end > first) madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE);
    }
    auto* aligned = reinterpret_cast<std::uint8_t*>((address + kBufferAlignment) & ~(kBufferAlignment - 1));
    return Buffer(aligned, [raw](std::uint8_t*) { std::free(raw); });
}

}  // namespace plox::ipl::lib
