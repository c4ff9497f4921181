// Runs a test once per SIMD target this CPU supports, so that targets other than the best one
// are checked too.
#pragma once

#include <hwy/targets.h>

#include <cstdint>
#include <vector>

namespace plox::ipl::test {

// Restricts the dispatch to one target while alive.
struct OnlyTarget {
    explicit OnlyTarget(std::int64_t target) { hwy::SetSupportedTargetsForTest(target); }
    ~OnlyTarget() { hwy::SetSupportedTargetsForTest(0); }
    OnlyTarget(const OnlyTarget&) = delete;
    OnlyTarget& operator=(const OnlyTarget&) = delete;
};

inline std::vector<std::int64_t> cpu_targets() {
    std::vector<std::int64_t> targets;
    for (std::int64_t bits = hwy::SupportedTargets(); bits != 0; bits &= bits - 1) targets.push_back(bits & -bits);
    return targets;
}

}  // namespace plox::ipl::test
