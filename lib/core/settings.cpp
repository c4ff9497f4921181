#include "settings.h"

#include <thread>

namespace plox::ipl::lib {

Settings& Settings::instance() noexcept {
    static Settings settings;
    return settings;
}

std::size_t Settings::core_count() noexcept {
    const unsigned cores = std::thread::hardware_concurrency();
    return cores == 0 ? 1 : cores;
}

std::size_t Settings::effective_thread_count() const noexcept {
    if (!multithreading_enabled()) return 1;
    const std::size_t requested = max_concurrent_threads();
    if (requested == 0) return core_count();
    return requested < thread_limit() ? requested : thread_limit();
}

}  // namespace plox::ipl::lib
