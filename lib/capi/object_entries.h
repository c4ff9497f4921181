// The construct, clone and destruct entry points of a library object family, written once.
// Clone is shallow: a second handle to the same object, so the handles share its settings.
#pragma once

#include <memory>

#include "entry.h"
#include "handles.h"

namespace plox::ipl::lib {

template <class T, class Handle>
class ObjectEntries {
public:
    // `kind` names the handle in refusals ("image converter").
    explicit constexpr ObjectEntries(const char* kind) noexcept : kind_(kind) {}

    // The object behind `handle`, or INVALID_HANDLE naming the kind.
    std::shared_ptr<T> object(Handle handle) const { return object_of<T>(handle, kind_); }

    PLOX_IPL_RETURN_CODE construct(Handle* handle, const char* name = "handle") const noexcept {
        return guarded([&] {
            out(handle, name);
            publish(std::make_shared<T>(), handle);
        });
    }

    PLOX_IPL_RETURN_CODE clone(Handle handle, Handle* clone, const char* name = "clone") const noexcept {
        return guarded([&] {
            out(clone, name);
            publish(object(handle), clone);
        });
    }

    PLOX_IPL_RETURN_CODE destruct(Handle handle) const noexcept {
        return guarded([&] {
            object(handle);  // refuses handles of other kinds
            HandleRegistry::instance().remove(handle);
        });
    }

private:
    const char* kind_;
};

}  // namespace plox::ipl::lib
