#include <umb_plox_ipl/library.h>

#include <cstring>

#include "../core/settings.h"
#include "../core/thread_pool.h"
#include "entry.h"

using namespace plox::ipl::lib;

extern "C" {

PLOX_IPL_RETURN_CODE PLOX_IPL_Library_GetLastError(int32_t* lastErrorCode, char* description,
                                                   size_t* descriptionSize) {
    // Reports on the last error without becoming one: misuse here leaves it untouched.
    if (lastErrorCode == nullptr || descriptionSize == nullptr) return PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT;
    const LastError& error = last_error();
    const size_t needed = error.description.size() + 1;
    *lastErrorCode = error.code;
    if (description == nullptr) {
        *descriptionSize = needed;
        return PLOX_IPL_RETURN_CODE_SUCCESS;
    }
    if (*descriptionSize < needed) {
        *descriptionSize = needed;
        return PLOX_IPL_RETURN_CODE_BUFFER_TOO_SMALL;
    }
    std::memcpy(description, error.description.c_str(), needed);
    *descriptionSize = needed;
    return PLOX_IPL_RETURN_CODE_SUCCESS;
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Library_GetVersionMajor(uint32_t* major) {
    return guarded([&] { out(major, "major") = UMB_PLOX_IPL_VERSION_MAJOR; });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Library_GetVersionMinor(uint32_t* minor) {
    return guarded([&] { out(minor, "minor") = UMB_PLOX_IPL_VERSION_MINOR; });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Library_GetVersionSubminor(uint32_t* subminor) {
    return guarded([&] { out(subminor, "subminor") = UMB_PLOX_IPL_VERSION_SUBMINOR; });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Library_GetMaxConcurrentThreads(size_t* count) {
    return guarded([&] { out(count, "count") = Settings::instance().max_concurrent_threads(); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Library_SetMaxConcurrentThreads(size_t count) {
    return guarded([&] {
        Settings& settings = Settings::instance();
        settings.set_max_concurrent_threads(count);
        // Fewer threads from now on: the idle workers beyond them leave at once.
        ThreadPool::instance().limit_workers(settings.effective_thread_count() - 1);
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Library_GetMultiThreadingEnabled(uint8_t* enabled) {
    return guarded([&] { out(enabled, "enabled") = Settings::instance().multithreading_enabled() ? 1 : 0; });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Library_SetMultiThreadingEnabled(uint8_t enabled) {
    return guarded([&] { Settings::instance().set_multithreading_enabled(enabled != 0); });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Library_GetSIMDEnabled(uint8_t* enabled) {
    return guarded([&] { out(enabled, "enabled") = Settings::instance().simd_enabled() ? 1 : 0; });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_Library_SetSIMDEnabled(uint8_t enabled) {
    return guarded([&] { Settings::instance().set_simd_enabled(enabled != 0); });
}

}  // extern "C"
