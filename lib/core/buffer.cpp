#include "buffer.h"

#include <cstdlib>
#include <new>

#include <sys/mman.h>
#include <unistd.h>

#include "block_cache.h"

namespace plox::ipl::lib {

namespace {

constexpr std::size_t kHugePageThreshold = std::size_t{4} << 20;

// Whole frames fault in 2 MiB at a time instead of 4 KiB: a fresh 36 MB result otherwise
// costs more in page faults than in writing its pixels (NumPy does the same).
void advise_huge_pages(void* raw, std::size_t bytes) {
    const auto address = reinterpret_cast<std::uintptr_t>(raw);
    const std::uintptr_t page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const std::uintptr_t first = (address + page - 1) & ~(page - 1);
    const std::uintptr_t end = (address + bytes) & ~(page - 1);
    if (end > first) madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE);
}

}  // namespace

Buffer allocate_buffer(std::size_t bytes, Fill fill) {
    if (bytes > SIZE_MAX - kBufferAlignment) throw std::bad_alloc();
    std::size_t capacity = bytes + kBufferAlignment;
    // A zero-filled buffer comes from calloc, whose fresh pages cost nothing to zero up front;
    // a kept block would have to be cleared by hand.
    void* raw = fill == Fill::none ? BlockCache::instance().take(capacity, capacity) : nullptr;
    if (raw == nullptr) {
        raw = fill == Fill::zeros ? std::calloc(capacity, 1) : std::malloc(capacity);
        if (raw == nullptr) throw std::bad_alloc();
        if (bytes >= kHugePageThreshold) advise_huge_pages(raw, capacity);
    }
    const auto address = reinterpret_cast<std::uintptr_t>(raw);
    auto* aligned = reinterpret_cast<std::uint8_t*>((address + kBufferAlignment) & ~(kBufferAlignment - 1));
    return Buffer(aligned, [raw, capacity](std::uint8_t*) { BlockCache::instance().give(raw, capacity); });
}

}  // namespace plox::ipl::lib
