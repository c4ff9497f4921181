// Library-wide version and settings.
#pragma once

#include <stddef.h>
#include <cstdint>
#include <string>

#include <umb_plox_ipl/library.h>

#include "Exception.h"

namespace plox {
namespace ipl {

/**
 * \brief A library version: major, minor and subminor number.
 * \since 1.9.2
 */
struct Version_t {
    // Major version
    std::uint32_t major = 0;
    // Minor version
    std::uint32_t minor = 0;
    // Subminor version
    std::uint32_t subminor = 0;

    /**
     * \brief The version as text, for example 1.9.2.
     * \return major.minor.subminor in decimal
     * \since 1.9.2
     */
    std::string ToString() const {
        return std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(subminor);
    }
};

/**
 * \brief Process-wide settings of the library. All methods are static.
 * \since 1.9.2
 */
class Library {
public:
    Library() = delete;

    /**
     * \brief Queries the library version.
     * \return The library version
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    static Version_t Version() {
        Version_t version;
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Library_GetVersionMajor(&version.major); });
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Library_GetVersionMinor(&version.minor); });
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Library_GetVersionSubminor(&version.subminor); });
        return version;
    }

    /**
     * \brief Queries the maximum number of concurrent threads used by the library.
     * \return The number of concurrent threads used by the library. Or 0 to let the library decide.
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    static size_t MaxConcurrentThreads() {
        size_t count = 0;
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Library_GetMaxConcurrentThreads(&count); });
        return count;
    }

    /**
     * \brief Sets the maximum number of concurrent threads used by the library.
     *
     * Set the number of threads to 0, to let the library decide the amount. Select any other number to set
     * the amount manually.
     * \param concurrentThreads The number of threads, or 0
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    static void SetMaxConcurrentThreads(size_t concurrentThreads) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Library_SetMaxConcurrentThreads(concurrentThreads); });
    }

    /**
     * \brief Queries whether the library may use several threads.
     * \return True, if multithreading is enabled, otherwise false.
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    static bool MultiThreadingEnabled() {
        std::uint8_t enabled = 0;
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Library_GetMultiThreadingEnabled(&enabled); });
        return enabled != 0;
    }

    /**
     * \brief Enables or disables multithreading.
     * \param enabled True to let the library use several threads
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    static void SetMultiThreadingEnabled(bool enabled) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Library_SetMultiThreadingEnabled(enabled ? 1 : 0); });
    }

    /**
     * \brief Queries whether SIMD optimized code paths are used.
     * \return True, if SIMD optimized versions are used, otherwise they're not used.
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    static bool SIMDEnabled() {
        std::uint8_t enabled = 0;
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Library_GetSIMDEnabled(&enabled); });
        return enabled != 0;
    }

    /**
     * \brief Enables or disables SIMD optimized code paths.
     *
     * This is normally true
     * \param enabled True to use SIMD optimized versions
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    static void SetSIMDEnabled(bool enabled) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_Library_SetSIMDEnabled(enabled ? 1 : 0); });
    }
};

}  // namespace ipl
}  // namespace plox
