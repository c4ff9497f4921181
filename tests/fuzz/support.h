// What every harness needs: a way to report a finding, a full read of memory the library hands
// out, and the check that a failed C call left a specific error behind.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <umb_plox_ipl/umb_plox_ipl.h>

#include "lib/core/error.h"

namespace plox::ipl::fuzz {

using lib::concat;

// A broken promise of the library: abort, so that libFuzzer keeps the input and a test fails.
[[noreturn]] inline void finding(const std::string& what) {
    std::fprintf(stderr, "fuzz finding: %s\n", what.c_str());
    std::abort();
}

// Where read_all leaves its sum: being volatile, it keeps the loads from being optimised away.
inline volatile unsigned read_all_sink;

// Reads every byte, so that ASan checks the whole extent the library claims is there.
inline void read_all(const std::uint8_t* data, std::size_t size) {
    unsigned sum = 0;
    for (std::size_t i = 0; i < size; ++i) sum += data[i];
    read_all_sink = sum;
}

// True on success. A failure must carry its own code and a text in the thread's last error; the
// generic ERROR code means an exception nobody expected (std::bad_alloc included) reached the
// entry point, which for the small inputs of a fuzzer is a fault.
inline bool succeeded(PLOX_IPL_RETURN_CODE code, const char* call) {
    if (code == PLOX_IPL_RETURN_CODE_SUCCESS) return true;
    std::int32_t last = PLOX_IPL_RETURN_CODE_SUCCESS;
    std::size_t needed = 0;
    PLOX_IPL_Library_GetLastError(&last, nullptr, &needed);
    std::string text(needed, '\0');
    PLOX_IPL_Library_GetLastError(&last, text.data(), &needed);
    text.resize(needed > 0 ? needed - 1 : 0);
    if (last != code || text.empty())
        finding(concat(call, " returned ", code, " but left the last error ", last, " '", text, "'"));
    if (code == PLOX_IPL_RETURN_CODE_ERROR) finding(concat(call, " failed unexpectedly: ", text));
    return false;
}

// One image handle, destroyed with the scope.
class ImageHandle {
public:
    ImageHandle() = default;
    ImageHandle(const ImageHandle&) = delete;
    ImageHandle& operator=(const ImageHandle&) = delete;
    ~ImageHandle() {
        if (handle_ != nullptr && PLOX_IPL_Image_Destruct(handle_) != PLOX_IPL_RETURN_CODE_SUCCESS)
            finding("an image handle the library gave out cannot be destroyed");
    }
    PLOX_IPL_IMAGE_HANDLE* out() { return &handle_; }
    PLOX_IPL_IMAGE_HANDLE get() const { return handle_; }
    explicit operator bool() const { return handle_ != nullptr; }

private:
    PLOX_IPL_IMAGE_HANDLE handle_ = nullptr;
};

}  // namespace plox::ipl::fuzz
