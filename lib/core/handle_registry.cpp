#include "handle_registry.h"

#include <mutex>

namespace plox::ipl::lib {

namespace {

std::uintptr_t key(const void* handle) { return reinterpret_cast<std::uintptr_t>(handle); }

}  // namespace

HandleRegistry& HandleRegistry::instance() {
    // Never destroyed: handles may still be released from static destructors at exit.
    static HandleRegistry* registry = new HandleRegistry();
    return *registry;
}

void* HandleRegistry::add(std::shared_ptr<Object> object) {
    if (!object) fail(PLOX_IPL_RETURN_CODE_ERROR, "cannot register an empty object");
    std::unique_lock lock(mutex_);
    const std::uintptr_t id = next_id_++;
    records_.emplace(id, std::move(object));
    return reinterpret_cast<void*>(id);
}

void* HandleRegistry::acquire(const void* handle) {
    std::shared_ptr<Object> object = find(handle);
    if (!object) fail(PLOX_IPL_RETURN_CODE_INVALID_HANDLE, "invalid handle ", handle);
    return add(std::move(object));
}

void HandleRegistry::remove(const void* handle) {
    std::shared_ptr<Object> released;
    {
        std::unique_lock lock(mutex_);
        auto it = records_.find(key(handle));
        if (it == records_.end()) fail(PLOX_IPL_RETURN_CODE_INVALID_HANDLE, "invalid handle ", handle);
        released = std::move(it->second);
        records_.erase(it);
    }
    // `released` may be the last reference: the object dies here, outside the lock.
}

std::size_t HandleRegistry::size() const {
    std::shared_lock lock(mutex_);
    return records_.size();
}

std::shared_ptr<Object> HandleRegistry::find(const void* handle) const {
    if (handle == nullptr) return nullptr;
    std::shared_lock lock(mutex_);
    auto it = records_.find(key(handle));
    return it == records_.end() ? nullptr : it->second;
}

}  // namespace plox::ipl::lib
