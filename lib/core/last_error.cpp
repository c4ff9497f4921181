#include "last_error.h"

namespace plox::ipl::lib {

LastError& last_error() noexcept {
    thread_local LastError error;
    return error;
}

void set_last_error(PLOX_IPL_RETURN_CODE code, const char* description) noexcept {
    LastError& error = last_error();
    error.code = code;
    try {
        error.description = description;
    } catch (...) {
        // Out of memory while recording: keep the code, drop a text we cannot store.
        error.description.clear();
    }
}

}  // namespace plox::ipl::lib
