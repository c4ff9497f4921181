// Exceptions of the class layer and the checked call that raises them from a failing
// C function.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>

#include <umb_plox_ipl/library.h>

namespace plox {
namespace ipl {

/**
 * \brief Base class of every error the library reports.
 * \since 1.9.2
 */
class Exception : public std::runtime_error {
public:
    /** \brief Creates the exception with its message. */
    explicit Exception(const std::string& message) : std::runtime_error(message) {}
};

/** \brief A handle was null, destroyed or of the wrong kind. \since 1.9.2 */
class InvalidHandleException : public Exception {
public:
    explicit InvalidHandleException(const std::string& message) : Exception(message) {}
};

/** \brief Reading or writing a file failed. \since 1.9.2 */
class IOException : public Exception {
public:
    /** \brief Creates the exception with its message. */
    explicit IOException(const std::string& message) : Exception(message) {}
};

/** \brief A buffer was too small for the result. \since 1.9.2 */
class BufferTooSmallException : public Exception {
public:
    explicit BufferTooSmallException(const std::string& message) : Exception(message) {}
};

/** \brief An argument had a value the operation does not accept. \since 1.9.2 */
class InvalidArgumentException : public Exception {
public:
    /** \brief Creates the exception with its message. */
    explicit InvalidArgumentException(const std::string& message) : Exception(message) {}
};

/** \brief A value lay outside its allowed range. \since 1.9.2 */
class OutOfRangeException : public Exception {
public:
    /** \brief Creates the exception with its message. */
    explicit OutOfRangeException(const std::string& message) : Exception(message) {}
};

/** \brief The operation does not support the image's pixel format. \since 1.9.2 */
class ImageFormatNotSupportedException : public Exception {
public:
    /** \brief Creates the exception with its message. */
    explicit ImageFormatNotSupportedException(const std::string& message) : Exception(message) {}
};

/** \brief Data could not be interpreted as the requested pixel format. \since 1.9.2 */
class ImageFormatInterpretationException : public Exception {
public:
    /** \brief Creates the exception with its message. */
    explicit ImageFormatInterpretationException(const std::string& message) : Exception(message) {}
};

/** \brief The operation is not permitted in the object's current state. \since 1.9.2 */
class NotPermittedException : public Exception {
public:
    /** \brief Creates the exception with its message. */
    explicit NotPermittedException(const std::string& message) : Exception(message) {}
};

/** \brief The object is busy. \since 1.9.2 */
class BusyException : public Exception {
public:
    /** \brief Creates the exception with its message. */
    explicit BusyException(const std::string& message) : Exception(message) {}
};

/** \brief A wait ended before its condition was met. \since 1.9.2 */
class TimeoutException : public Exception {
public:
    /** \brief Creates the exception with its message. */
    explicit TimeoutException(const std::string& message) : Exception(message) {}
};

/** \brief The name of a return code, or an empty text for values outside 0 to 12. */
inline std::string ReturnCodeToString(std::int32_t code) {
    static const char* const names[] = {
        "PLOX_IPL_RETURN_CODE_SUCCESS",
        "PLOX_IPL_RETURN_CODE_ERROR",
        "PLOX_IPL_RETURN_CODE_INVALID_HANDLE",
        "PLOX_IPL_RETURN_CODE_IO_ERROR",
        "PLOX_IPL_RETURN_CODE_BUFFER_TOO_SMALL",
        "PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT",
        "PLOX_IPL_RETURN_CODE_OUT_OF_RANGE",
        "PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED",
        "PLOX_IPL_RETURN_CODE_FORMAT_INTERPRETATION_ERROR",
        "PLOX_IPL_RETURN_CODE_NOT_SUPPORTED",
        "PLOX_IPL_RETURN_CODE_NOT_PERMITTED",
        "PLOX_IPL_RETURN_CODE_BUSY",
        "PLOX_IPL_RETURN_CODE_TIMEOUT",
    };
    if (code < 0 || code >= static_cast<std::int32_t>(sizeof(names) / sizeof(names[0]))) return std::string();
    return names[code];
}

namespace detail {

using LastErrorQuery = PLOX_IPL_RETURN_CODE (*)(std::int32_t*, char*, std::size_t*);

// Asks `query` for the last error and throws the exception its code stands for. The code
// the failing call returned is deliberately not used: the library's record is the authority.
[[noreturn]] inline void ThrowLastError(LastErrorQuery query) {
    std::int32_t code = 0;
    std::size_t size = 0;
    if (query(&code, nullptr, &size) != PLOX_IPL_RETURN_CODE_SUCCESS) throw Exception("Could not query the last error!");
    std::unique_ptr<char[]> description(new char[size + 1]());
    if (query(&code, description.get(), &size) != PLOX_IPL_RETURN_CODE_SUCCESS)
        throw Exception("Could not query the last error!");

    std::ostringstream message;
    message << "[Error-Code: " << code << " (" << ReturnCodeToString(code)
            << ") | Error-Description: " << description.get() << "]";
    const std::string text = message.str();
    switch (code) {
        case PLOX_IPL_RETURN_CODE_INVALID_HANDLE: throw InvalidHandleException(text);
        case PLOX_IPL_RETURN_CODE_IO_ERROR: throw IOException(text);
        case PLOX_IPL_RETURN_CODE_BUFFER_TOO_SMALL: throw BufferTooSmallException(text);
        case PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT: throw InvalidArgumentException(text);
        case PLOX_IPL_RETURN_CODE_OUT_OF_RANGE: throw OutOfRangeException(text);
        case PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED: throw ImageFormatNotSupportedException(text);
        case PLOX_IPL_RETURN_CODE_FORMAT_INTERPRETATION_ERROR: throw ImageFormatInterpretationException(text);
        case PLOX_IPL_RETURN_CODE_NOT_PERMITTED: throw NotPermittedException(text);
        case PLOX_IPL_RETURN_CODE_BUSY: throw BusyException(text);
        case PLOX_IPL_RETURN_CODE_TIMEOUT: throw TimeoutException(text);
        default: throw Exception(text);
    }
}

// The checked call with an exchangeable error query, so tests can fake the library's record.
template <class Call>
void ExecuteAndMapReturnCodes(Call&& call, LastErrorQuery query) {
    if (call() != PLOX_IPL_RETURN_CODE_SUCCESS) ThrowLastError(query);
}

}  // namespace detail

/** Runs one C call and throws the exception matching the library's last error if it fails. */
template <class Call>
void ExecuteAndMapReturnCodes(Call&& call) {
    detail::ExecuteAndMapReturnCodes(call, &PLOX_IPL_Library_GetLastError);
}

}  // namespace ipl
}  // namespace plox
