// Between C handles and library objects.
#pragma once

#include <memory>

#include "../core/handle_registry.h"

namespace plox::ipl::lib {

// The object behind `handle`, or INVALID_HANDLE naming `kind`.
template <class T, class Handle>
std::shared_ptr<T> object_of(Handle handle, const char* kind) {
    return HandleRegistry::instance().get<T>(handle, kind);
}

// Registers `object` and stores its new handle; `out` was checked before the work began.
template <class Handle>
void publish(std::shared_ptr<Object> object, Handle* out) {
    *out = static_cast<Handle>(HandleRegistry::instance().add(std::move(object)));
}

}  // namespace plox::ipl::lib
