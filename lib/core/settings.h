// Process-wide settings that the thread pool and the kernels obey. Safe to read and
// write from any thread.
#pragma once

#include <atomic>
#include <cstddef>

namespace plox::ipl::lib {

class Settings {
public:
    static Settings& instance() noexcept;

    // 0 means one worker per core.
    std::size_t max_concurrent_threads() const noexcept { return max_threads_.load(std::memory_order_relaxed); }
    void set_max_concurrent_threads(std::size_t count) noexcept { max_threads_.store(count, std::memory_order_relaxed); }

    bool multithreading_enabled() const noexcept { return multithreading_.load(std::memory_order_relaxed); }
    void set_multithreading_enabled(bool enabled) noexcept { multithreading_.store(enabled, std::memory_order_relaxed); }

    bool simd_enabled() const noexcept { return simd_.load(std::memory_order_relaxed); }
    void set_simd_enabled(bool enabled) noexcept { simd_.store(enabled, std::memory_order_relaxed); }

    // The number of threads a parallel operation may use right now: the setting (0: one per
    // core), never more than thread_limit().
    std::size_t effective_thread_count() const noexcept;

    // More threads than a few per core only add switching; a huge setting must not mean a huge
    // number of threads.
    static constexpr std::size_t kThreadsPerCoreLimit = 4;
    static std::size_t core_count() noexcept;
    static std::size_t thread_limit() noexcept { return kThreadsPerCoreLimit * core_count(); }

private:
    std::atomic<std::size_t> max_threads_{0};
    std::atomic<bool> multithreading_{true};
    std::atomic<bool> simd_{true};
};

}  // namespace plox::ipl::lib
