// The calling thread's most recent failure, as reported by PLOX_IPL_Library_GetLastError.
#pragma once

#include <string>

#include <umb_plox_ipl/return_codes.h>

namespace plox::ipl::lib {

struct LastError {
    PLOX_IPL_RETURN_CODE code = PLOX_IPL_RETURN_CODE_SUCCESS;
    std::string description;
};

// Per thread: two threads failing at once each see their own error.
LastError& last_error() noexcept;
void set_last_error(PLOX_IPL_RETURN_CODE code, const char* description) noexcept;

}  // namespace plox::ipl::lib
