// Every live handle of the C interface. A handle is an opaque number that stands for one
// strong reference to a library object; numbers are never reused, so a destroyed or made-up
// handle is recognised and refused instead of being dereferenced.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <shared_mutex>
#include <unordered_map>

#include "error.h"

namespace plox::ipl::lib {

// Base of every object that a handle can refer to.
class Object {
public:
    virtual ~Object() = default;
};

class HandleRegistry {
public:
    static HandleRegistry& instance();

    // A new handle holding one reference to `object`.
    void* add(std::shared_ptr<Object> object);
    // A new handle to the same object as `handle`: the two share the object and its settings.
    void* acquire(const void* handle);
    // Frees one handle; the object dies with its last handle.
    void remove(const void* handle);

    // The object behind a live handle of type T; throws INVALID_HANDLE naming `kind` otherwise.
    template <class T>
    std::shared_ptr<T> get(const void* handle, const char* kind) const {
        std::shared_ptr<T> object = std::dynamic_pointer_cast<T>(find(handle));
        if (!object) fail(PLOX_IPL_RETURN_CODE_INVALID_HANDLE, "invalid ", kind, " handle ", handle);
        return object;
    }

    std::size_t size() const;

private:
    std::shared_ptr<Object> find(const void* handle) const;

    mutable std::shared_mutex mutex_;
    std::unordered_map<std::uintptr_t, std::shared_ptr<Object>> records_;
    std::uintptr_t next_id_ = 1;
};

}  // namespace plox::ipl::lib
