// The settings of a processing object. Every handle to the object shares them and any thread
// may read or write them at once: a reader gets a whole copy, never half of an update.
#pragma once

#include <mutex>
#include <utility>

namespace plox::ipl::lib {

template <class Values>
class SharedSettings {
public:
    explicit SharedSettings(Values initial = Values{}) : values_(std::move(initial)) {}

    Values get() const {
        std::lock_guard lock(mutex_);
        return values_;
    }

    // `change(Values&)` edits a copy, which replaces the settings only when it returns: a setter
    // that validates and throws leaves every value as it was.
    template <class Change>
    void update(Change&& change) {
        std::lock_guard lock(mutex_);
        Values next = values_;
        std::forward<Change>(change)(next);
        values_ = std::move(next);
    }

private:
    mutable std::mutex mutex_;
    Values values_;
};

}  // namespace plox::ipl::lib
