// The one exception type the library's internals throw: a return code and a text. Entry
// points turn it into the thread's last error.
#pragma once

#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>

#include <umb_plox_ipl/return_codes.h>

namespace plox::ipl::lib {

class Error : public std::runtime_error {
public:
    Error(PLOX_IPL_RETURN_CODE code, const std::string& text) : std::runtime_error(text), code_(code) {}
    PLOX_IPL_RETURN_CODE code() const noexcept { return code_; }

private:
    PLOX_IPL_RETURN_CODE code_;
};

// Joins any streamable values into one text: concat("width ", w, " must be even").
template <class... Parts>
std::string concat(Parts&&... parts) {
    std::ostringstream out;
    (out << ... << std::forward<Parts>(parts));
    return out.str();
}

template <class... Parts>
[[noreturn]] void fail(PLOX_IPL_RETURN_CODE code, Parts&&... parts) {
    throw Error(code, concat(std::forward<Parts>(parts)...));
}

}  // namespace plox::ipl::lib
