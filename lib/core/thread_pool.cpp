#include "thread_pool.h"

#include <algorithm>
#include <atomic>
#include <exception>

#include "settings.h"

namespace plox::ipl::lib {

struct ThreadPool::Job {
    std::size_t count;
    const std::function<void(std::size_t)>* body;
    std::atomic<std::size_t> next{0};
    std::atomic<std::size_t> finished{0};
    std::mutex mutex;
    std::condition_variable done;
    std::exception_ptr error;

    // Takes pieces until none are left; any thread holding the job may call it.
    void run() {
        for (std::size_t i = next.fetch_add(1); i < count; i = next.fetch_add(1)) {
            try {
                (*body)(i);
            } catch (...) {
                std::lock_guard lock(mutex);
                if (!error) error = std::current_exception();
            }
            if (finished.fetch_add(1) + 1 == count) {
                std::lock_guard lock(mutex);
                done.notify_all();
            }
        }
    }
};

ThreadPool& ThreadPool::instance() {
    static ThreadPool pool;
    return pool;
}

ThreadPool::~ThreadPool() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    for (std::thread& worker : workers_) worker.join();
}

void ThreadPool::ensure_workers(std::size_t count) {
    // Called with mutex_ held. Workers are only ever added: a smaller setting uses fewer tickets.
    while (workers_.size() < count) workers_.emplace_back([this] { work(); });
}

void ThreadPool::work() {
    for (;;) {
        std::shared_ptr<Job> job;
        // Frames come in bursts of strips: stay awake a moment for the next job.
        for (int spin = 0; spin < 2000 && pending_.load(std::memory_order_relaxed) == 0; ++spin)
            std::this_thread::yield();
        {
            std::unique_lock lock(mutex_);
            wake_.wait(lock, [this] { return stopping_ || !tickets_.empty(); });
            if (stopping_) return;
            job = std::move(tickets_.front());
            tickets_.pop_front();
            pending_.fetch_sub(1, std::memory_order_relaxed);
        }
        job->run();
    }
}

void ThreadPool::parallel_for(std::size_t count, std::size_t threads,
                              const std::function<void(std::size_t)>& body) {
    if (count == 0) return;
    auto job = std::make_shared<Job>();
    job->count = count;
    job->body = &body;
    const std::size_t helpers = std::min(threads, count) - 1;
    if (helpers > 0) {
        {
            std::lock_guard lock(mutex_);
            ensure_workers(helpers);
            for (std::size_t i = 0; i < helpers; ++i) tickets_.push_back(job);
            pending_.fetch_add(helpers, std::memory_order_relaxed);
        }
        wake_.notify_all();
    }
    job->run();
    // The last pieces are usually moments from done: spin briefly before sleeping on them.
    for (int spin = 0; spin < 20000 && job->finished.load() != count; ++spin) std::this_thread::yield();
    if (job->finished.load() != count) {
        std::unique_lock lock(job->mutex);
        job->done.wait(lock, [&] { return job->finished.load() == count; });
    }
    // Tickets still queued find no pieces left; they only keep the job alive until popped.
    if (job->error) std::rethrow_exception(job->error);
}

void for_each_strip(std::size_t height, std::size_t width, std::size_t alignment,
                    const std::function<void(std::size_t, std::size_t)>& body) {
    constexpr std::size_t min_pixels_per_strip = 64 * 1024;
    const std::size_t threads = Settings::instance().effective_thread_count();
    const std::size_t pixels = height * width;
    std::size_t strips = std::min<std::size_t>(threads * 4, pixels / min_pixels_per_strip);
    strips = std::max<std::size_t>(1, std::min(strips, height / std::max<std::size_t>(alignment, 1)));
    if (strips <= 1 || threads <= 1) {
        body(0, height);
        return;
    }
    // Strip heights in whole alignment units, the remainder spread over the first strips.
    const std::size_t units = (height + alignment - 1) / alignment;
    const std::size_t base = units / strips;
    const std::size_t extra = units % strips;
    ThreadPool::instance().parallel_for(strips, threads, [&](std::size_t strip) {
        const std::size_t first_unit = strip * base + std::min(strip, extra);
        const std::size_t unit_count = base + (strip < extra ? 1 : 0);
        const std::size_t first = first_unit * alignment;
        const std::size_t end = std::min(height, (first_unit + unit_count) * alignment);
        if (first < end) body(first, end);
    });
}

}  // namespace plox::ipl::lib
