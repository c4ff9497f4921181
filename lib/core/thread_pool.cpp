#include "thread_pool.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <system_error>
#include <thread>

#include "settings.h"

namespace plox::ipl::lib {

namespace {

// A worker stays awake this long after its last piece, for the next strip job of a burst; a
// camera application pays it on every frame, so it is kept short.
constexpr auto kWorkerSpin = std::chrono::microseconds(40);
// A caller waits this long for the last pieces of its job before it sleeps on them.
constexpr auto kCallerSpin = std::chrono::microseconds(200);

template <class Done>
bool spin_until(Done done, std::chrono::microseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        for (int i = 0; i < 64; ++i) {
            if (done()) return true;
            std::this_thread::yield();
        }
        if (std::chrono::steady_clock::now() >= deadline) return done();
    }
}

}  // namespace

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
    static ThreadPool* pool = new ThreadPool();
    return *pool;
}

void ThreadPool::start_workers(std::size_t count) {
    // Called with mutex_ held. Workers are detached: the pool outlives them all.
    while (workers_ < count) {
        try {
            std::thread([this] { work(); }).detach();
        } catch (const std::system_error&) {
            return;  // the system refuses more threads: the callers do the work themselves
        }
        ++workers_;
    }
}

void ThreadPool::limit_workers(std::size_t workers) {
    {
        std::lock_guard lock(mutex_);
        wanted_ = workers;
        if (workers_ <= wanted_) return;
    }
    wake_.notify_all();
}

std::size_t ThreadPool::worker_count() {
    std::lock_guard lock(mutex_);
    return workers_;
}

void ThreadPool::work() {
    for (;;) {
        spin_until([this] { return pending_.load(std::memory_order_relaxed) != 0; }, kWorkerSpin);
        std::shared_ptr<Job> job;
        {
            std::unique_lock lock(mutex_);
            wake_.wait(lock, [this] { return !tickets_.empty() || workers_ > wanted_; });
            if (tickets_.empty()) {
                --workers_;
                return;
            }
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
    threads = std::max<std::size_t>(threads, 1);
    const std::size_t helpers = std::min(threads, count) - 1;
    bool retire = false;
    {
        std::lock_guard lock(mutex_);
        wanted_ = threads - 1;
        retire = workers_ > wanted_;
        start_workers(helpers);
        for (std::size_t i = 0; i < helpers; ++i) tickets_.push_back(job);
        pending_.fetch_add(helpers, std::memory_order_relaxed);
    }
    if (helpers > 0 || retire) wake_.notify_all();
    job->run();
    const auto finished = [&] { return job->finished.load() == count; };
    if (!spin_until(finished, kCallerSpin)) {
        std::unique_lock lock(job->mutex);
        job->done.wait(lock, finished);
    }
    // Tickets still queued find no pieces left; they only keep the job alive until popped.
    if (job->error) std::rethrow_exception(job->error);
}

void for_each_strip(std::size_t height, std::size_t width, std::size_t alignment,
                    const std::function<void(std::size_t, std::size_t)>& body, std::size_t strips_per_thread) {
    constexpr std::size_t min_pixels_per_strip = 64 * 1024;
    const std::size_t threads = Settings::instance().effective_thread_count();
    const std::size_t pixels = height * width;
    std::size_t strips = std::min<std::size_t>(threads * strips_per_thread, pixels / min_pixels_per_strip);
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
