// Frame-sized blocks kept after their last image is gone, for the next result of about the
// same size. A camera loop makes one result per frame: reusing the last frame's memory saves
// the page faults and zeroing of fresh memory, which cost as much as the pixels' own work.
// What is kept is bounded (a few blocks, at most kMaxBytes) and blocks are handed out only to
// sizes they fit closely, so the cache never holds much more than one frame set.
#pragma once

#include <cstddef>
#include <mutex>
#include <vector>

namespace plox::ipl::lib {

class BlockCache {
public:
    // Blocks below this go back to malloc, whose own free lists serve them well.
    static constexpr std::size_t kMinBytes = std::size_t{4} << 20;
    static constexpr std::size_t kMaxBytes = std::size_t{256} << 20;
    static constexpr std::size_t kMaxBlocks = 4;

    // The process-wide cache. It is never destroyed: images released by threads still running
    // at exit hand their blocks back to it.
    static BlockCache& instance();

    // A kept block of between `bytes` and bytes + bytes/4 usable bytes, or null; `capacity`
    // receives the block's size.
    void* take(std::size_t bytes, std::size_t& capacity);
    // Keeps a malloc'ed block of `capacity` bytes, or frees it (too small, too large, or the
    // oldest kept block makes room for it).
    void give(void* block, std::size_t capacity);
    // Frees every kept block.
    void clear();

    std::size_t kept_bytes() const;

private:
    struct Block {
        void* address;
        std::size_t capacity;
    };

    mutable std::mutex mutex_;
    std::vector<Block> blocks_;  // oldest first
    std::size_t kept_ = 0;
};

}  // namespace plox::ipl::lib
