#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

#include "lib/core/block_cache.h"
#include "lib/core/buffer.h"

using namespace plox::ipl::lib;

namespace {

constexpr std::size_t kFrame = std::size_t{36} << 20;

class BlockCacheTest : public testing::Test {
protected:
    void SetUp() override { BlockCache::instance().clear(); }
    void TearDown() override { BlockCache::instance().clear(); }
};

TEST_F(BlockCacheTest, AFreedFrameServesTheNextResultOfItsSize) {
    std::uint8_t* first = nullptr;
    {
        Buffer b = allocate_buffer(kFrame, Fill::none);
        first = b.get();
        std::memset(first, 0xab, kFrame);
    }
    EXPECT_GE(BlockCache::instance().kept_bytes(), kFrame);
    Buffer again = allocate_buffer(kFrame - 1000, Fill::none);
    EXPECT_EQ(again.get(), first);
    EXPECT_EQ(BlockCache::instance().kept_bytes(), 0u);
}

TEST_F(BlockCacheTest, ZeroFilledAndSmallBuffersNeverGetAKeptBlock) {
    { Buffer b = allocate_buffer(kFrame, Fill::none); std::memset(b.get(), 0xff, kFrame); }
    Buffer zeros = allocate_buffer(kFrame, Fill::zeros);
    for (std::size_t i = 0; i < kFrame; i += 4093) ASSERT_EQ(zeros.get()[i], 0) << i;
    EXPECT_GE(BlockCache::instance().kept_bytes(), kFrame);
    { Buffer small = allocate_buffer(1 << 20, Fill::none); }
    EXPECT_LT(BlockCache::instance().kept_bytes(), 2 * kFrame);
}

// A much smaller result must not pin a whole frame, nor a larger one get a short block.
TEST_F(BlockCacheTest, OnlyCloseSizesShareABlock) {
    std::uint8_t* frame = nullptr;
    { Buffer b = allocate_buffer(kFrame, Fill::none); frame = b.get(); }
    Buffer quarter = allocate_buffer(kFrame / 4, Fill::none);
    Buffer larger = allocate_buffer(kFrame + 4096, Fill::none);
    EXPECT_NE(quarter.get(), frame);
    EXPECT_NE(larger.get(), frame);
    EXPECT_GE(BlockCache::instance().kept_bytes(), kFrame);
}

TEST_F(BlockCacheTest, KeepsAtMostItsBlockCountAndByteLimit) {
    {
        std::vector<Buffer> held;
        for (int i = 0; i < 6; ++i) held.push_back(allocate_buffer(kFrame, Fill::none));
    }
    EXPECT_EQ(BlockCache::instance().kept_bytes(), BlockCache::kMaxBlocks * (kFrame + kBufferAlignment));
    { Buffer huge = allocate_buffer(BlockCache::kMaxBytes, Fill::none); }
    EXPECT_LE(BlockCache::instance().kept_bytes(), BlockCache::kMaxBytes);
    // Two blocks that together pass the byte limit: the older one goes.
    BlockCache::instance().clear();
    {
        Buffer a = allocate_buffer(BlockCache::kMaxBytes / 2 + (1 << 20), Fill::none);
        Buffer b = allocate_buffer(BlockCache::kMaxBytes / 2 + (2 << 20), Fill::none);
    }
    EXPECT_LE(BlockCache::instance().kept_bytes(), BlockCache::kMaxBytes);
    EXPECT_GT(BlockCache::instance().kept_bytes(), 0u);
}

// Results are dropped on whatever thread releases the last image.
TEST_F(BlockCacheTest, ThreadsTakingAndGivingBackNeverShareABlock) {
    std::vector<std::thread> threads;
    std::vector<int> clashes(4, 0);
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t, &clashes] {
            for (int i = 0; i < 50; ++i) {
                Buffer b = allocate_buffer(kFrame / 8, Fill::none);
                const auto mark = static_cast<std::uint8_t>(t * 50 + i);
                std::memset(b.get(), mark, 4096);
                std::memset(b.get() + kFrame / 8 - 4096, mark, 4096);
                std::this_thread::yield();
                if (b.get()[0] != mark || b.get()[kFrame / 8 - 1] != mark) ++clashes[t];
            }
        });
    }
    for (std::thread& t : threads) t.join();
    for (int c : clashes) EXPECT_EQ(c, 0);
}

}  // namespace
