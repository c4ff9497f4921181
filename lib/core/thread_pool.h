// One process-wide pool of worker threads. Callers split work into numbered pieces; the calling
// thread works on its own job too, so concurrent callers share the workers without
// oversubscribing the cores, and a caller never waits idle for a busy pool.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace plox::ipl::lib {

class ThreadPool {
public:
    static ThreadPool& instance();

    // Runs body(0) ... body(count - 1), on at most `threads` threads including the caller, and
    // returns when all are done. The first exception a piece throws is rethrown here.
    void parallel_for(std::size_t count, std::size_t threads, const std::function<void(std::size_t)>& body);

    ~ThreadPool();

private:
    struct Job;

    ThreadPool() = default;
    void ensure_workers(std::size_t count);
    void work();

    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::shared_ptr<Job>> tickets_;
    std::atomic<std::size_t> pending_{0};  // tickets_.size(), readable without the lock
    std::vector<std::thread> workers_;
    bool stopping_ = false;
};

// Splits rows [0, height) into strips whose boundaries are multiples of `alignment` rows and runs
// body(first_row, end_row) for each, over the pool as the library's settings allow. Images below
// `min_pixels_per_strip` pixels in all stay on the calling thread.
void for_each_strip(std::size_t height, std::size_t width, std::size_t alignment,
                    const std::function<void(std::size_t, std::size_t)>& body);

}  // namespace plox::ipl::lib
