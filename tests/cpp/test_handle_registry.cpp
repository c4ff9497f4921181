// Handles: shared references, refusal of null, stale, made-up and foreign handles.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "lib/core/handle_registry.h"

using namespace plox::ipl::lib;

namespace {

struct Counted : Object {
    explicit Counted(std::atomic<int>& alive) : alive_(alive) { ++alive_; }
    ~Counted() override { --alive_; }
    int value = 0;
    std::atomic<int>& alive_;
};

struct Other : Object {};

PLOX_IPL_RETURN_CODE CodeOf(const std::function<void()>& body) {
    try {
        body();
    } catch (const Error& e) {
        return e.code();
    }
    return PLOX_IPL_RETURN_CODE_SUCCESS;
}

}  // namespace

TEST(HandleRegistry, AcquiredHandlesShareTheObjectUntilTheLastIsRemoved) {
    std::atomic<int> alive{0};
    HandleRegistry& registry = HandleRegistry::instance();
    void* first = registry.add(std::make_shared<Counted>(alive));
    void* second = registry.acquire(first);
    EXPECT_NE(first, second);

    registry.get<Counted>(first, "Counted")->value = 7;
    EXPECT_EQ(registry.get<Counted>(second, "Counted")->value, 7);

    registry.remove(first);
    EXPECT_EQ(alive, 1);
    EXPECT_EQ(registry.get<Counted>(second, "Counted")->value, 7);
    registry.remove(second);
    EXPECT_EQ(alive, 0);
}

TEST(HandleRegistry, RefusesNullStaleMadeUpAndForeignHandles) {
    std::atomic<int> alive{0};
    HandleRegistry& registry = HandleRegistry::instance();
    void* handle = registry.add(std::make_shared<Counted>(alive));
    void* foreign = registry.add(std::make_shared<Other>());

    EXPECT_EQ(CodeOf([&] { registry.get<Counted>(foreign, "Counted"); }), PLOX_IPL_RETURN_CODE_INVALID_HANDLE);
    EXPECT_EQ(CodeOf([&] { registry.get<Counted>(nullptr, "Counted"); }), PLOX_IPL_RETURN_CODE_INVALID_HANDLE);
    EXPECT_EQ(CodeOf([&] { registry.get<Counted>(&alive, "Counted"); }), PLOX_IPL_RETURN_CODE_INVALID_HANDLE);

    registry.remove(handle);
    registry.remove(foreign);
    EXPECT_EQ(CodeOf([&] { registry.get<Counted>(handle, "Counted"); }), PLOX_IPL_RETURN_CODE_INVALID_HANDLE);
    EXPECT_EQ(CodeOf([&] { registry.remove(handle); }), PLOX_IPL_RETURN_CODE_INVALID_HANDLE);
    EXPECT_EQ(CodeOf([&] { registry.acquire(handle); }), PLOX_IPL_RETURN_CODE_INVALID_HANDLE);

    // A new object never inherits the number of a destroyed one.
    void* fresh = registry.add(std::make_shared<Counted>(alive));
    EXPECT_NE(fresh, handle);
    EXPECT_EQ(CodeOf([&] { registry.get<Counted>(handle, "Counted"); }), PLOX_IPL_RETURN_CODE_INVALID_HANDLE);
    registry.remove(fresh);
}

TEST(HandleRegistry, ConcurrentUseKeepsCountsRight) {
    std::atomic<int> alive{0};
    HandleRegistry& registry = HandleRegistry::instance();
    const std::size_t before = registry.size();
    void* shared = registry.add(std::make_shared<Counted>(alive));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 2000; ++i) {
                void* mine = registry.acquire(shared);
                registry.get<Counted>(mine, "Counted");
                registry.remove(mine);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    registry.remove(shared);
    EXPECT_EQ(alive, 0);
    EXPECT_EQ(registry.size(), before);
}
