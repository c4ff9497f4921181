// What every C entry point does around its body: no exception leaves it, every failure
// becomes a return code plus the thread's last error.
#pragma once

#include <exception>
#include <new>

#include <umb_plox_ipl/return_codes.h>

#include "../core/error.h"
#include "../core/last_error.h"

namespace plox::ipl::lib {

template <class Body>
PLOX_IPL_RETURN_CODE guarded(Body&& body) noexcept {
    try {
        body();
        return PLOX_IPL_RETURN_CODE_SUCCESS;
    } catch (const Error& e) {
        set_last_error(e.code(), e.what());
        return e.code();
    } catch (const std::bad_alloc&) {
        set_last_error(PLOX_IPL_RETURN_CODE_ERROR, "out of memory");
    } catch (const std::exception& e) {
        set_last_error(PLOX_IPL_RETURN_CODE_ERROR, e.what());
    } catch (...) {
        set_last_error(PLOX_IPL_RETURN_CODE_ERROR, "unknown internal failure");
    }
    return PLOX_IPL_RETURN_CODE_ERROR;
}

// The target of an out-pointer; null is the caller's mistake.
template <class T>
T& out(T* pointer, const char* name) {
    if (pointer == nullptr) fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, name, " must not be null");
    return *pointer;
}

}  // namespace plox::ipl::lib
