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

namespace plox::ipl::lib {

class ThreadPool {
public:
    // Never destroyed: at exit, threads the interpreter has not stopped may still be inside a
    // call, and their workers must find the pool intact.
    static ThreadPool& instance();

    // Runs body(0) ... body(count - 1), on at most `threads` threads including the caller, and
    // returns when all are done. The first exception a piece throws is rethrown here. The pool
    // keeps `threads - 1` workers from then on: more are started as needed, extra ones retire.
    void parallel_for(std::size_t count, std::size_t threads, const std::function<void(std::size_t)>& body);

    // Lets workers beyond `workers` retire as soon as they are idle.
    void limit_workers(std::size_t workers);

    // Workers alive now (retiring ones included until they have left).
    std::size_t worker_count();

    ThreadPool(const ThreadPool&) = delete;
    ThreadPool& operator=(const ThreadPool&) = delete;

private:
    struct Job;

    ThreadPool() = default;
    void start_workers(std::size_t count);
    void work();

    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::shared_ptr<Job>> tickets_;
    std::atomic<std::size_t> pending_{0};  // tickets_.size(), readable without the lock
    std::size_t workers_ = 0;
    std::size_t wanted_ = 0;
};

// Splits rows [0, height) into strips whose boundaries are multiples of `alignment` rows and runs
// body(first_row, end_row) for each, over the pool as the library's settings allow. Images below
// `min_pixels_per_strip` pixels in all stay on the calling thread. Kernels that recompute rows
// around each strip ask for fewer strips per thread than the default, which balances uneven work.
void for_each_strip(std::size_t height, std::size_t width, std::size_t alignment,
                    const std::function<void(std::size_t, std::size_t)>& body, std::size_t strips_per_thread = 4);

}  // namespace plox::ipl::lib
