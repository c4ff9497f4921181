#include "block_cache.h"

#include <cstdlib>

#if defined(__SANITIZE_ADDRESS__)
#define PLOX_IPL_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define PLOX_IPL_ASAN 1
#endif
#endif

#ifdef PLOX_IPL_ASAN
#include <sanitizer/asan_interface.h>
// A kept block is freed memory as far as its last image knew: touching it must still be
// reported as a use after free.
#define PLOX_IPL_POISON(address, bytes) ASAN_POISON_MEMORY_REGION(address, bytes)
#define PLOX_IPL_UNPOISON(address, bytes) ASAN_UNPOISON_MEMORY_REGION(address, bytes)
#else
#define PLOX_IPL_POISON(address, bytes) ((void)(address), (void)(bytes))
#define PLOX_IPL_UNPOISON(address, bytes) ((void)(address), (void)(bytes))
#endif

namespace plox::ipl::lib {

BlockCache& BlockCache::instance() {
    static BlockCache* cache = new BlockCache();
    return *cache;
}

void* BlockCache::take(std::size_t bytes, std::size_t& capacity) {
    if (bytes < kMinBytes) return nullptr;
    std::lock_guard lock(mutex_);
    // The closest fit, newest first among equals: its pages are most likely still in cache.
    std::size_t best = blocks_.size();
    for (std::size_t i = blocks_.size(); i-- > 0;) {
        const std::size_t c = blocks_[i].capacity;
        if (c < bytes || c - bytes > bytes / 4) continue;
        if (best == blocks_.size() || c < blocks_[best].capacity) best = i;
    }
    if (best == blocks_.size()) return nullptr;
    const Block block = blocks_[best];
    blocks_.erase(blocks_.begin() + static_cast<std::ptrdiff_t>(best));
    kept_ -= block.capacity;
    capacity = block.capacity;
    PLOX_IPL_UNPOISON(block.address, block.capacity);
    return block.address;
}

void BlockCache::give(void* block, std::size_t capacity) {
    if (capacity < kMinBytes || capacity > kMaxBytes) {
        std::free(block);
        return;
    }
    std::vector<void*> evicted;
    {
        std::lock_guard lock(mutex_);
        while (!blocks_.empty() && (blocks_.size() >= kMaxBlocks || kept_ + capacity > kMaxBytes)) {
            evicted.push_back(blocks_.front().address);
            PLOX_IPL_UNPOISON(blocks_.front().address, blocks_.front().capacity);
            kept_ -= blocks_.front().capacity;
            blocks_.erase(blocks_.begin());
        }
        PLOX_IPL_POISON(block, capacity);
        blocks_.push_back({block, capacity});
        kept_ += capacity;
    }
    // free() of a large block unmaps it: not under the lock.
    for (void* address : evicted) std::free(address);
}

void BlockCache::clear() {
    std::vector<Block> blocks;
    {
        std::lock_guard lock(mutex_);
        blocks.swap(blocks_);
        kept_ = 0;
    }
    for (const Block& b : blocks) {
        PLOX_IPL_UNPOISON(b.address, b.capacity);
        std::free(b.address);
    }
}

std::size_t BlockCache::kept_bytes() const {
    std::lock_guard lock(mutex_);
    return kept_;
}

}  // namespace plox::ipl::lib
