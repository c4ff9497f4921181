// One libFuzzer target; PLOX_FUZZ_HARNESS names which harness it runs.
#include <cstring>

#include "harnesses.h"

namespace {

const plox::ipl::fuzz::Harness& harness() {
    static const plox::ipl::fuzz::Harness& chosen = []() -> const plox::ipl::fuzz::Harness& {
        for (const auto& h : plox::ipl::fuzz::kHarnesses)
            if (std::strcmp(h.name, PLOX_FUZZ_HARNESS) == 0) return h;
        plox::ipl::fuzz::finding("no harness named " PLOX_FUZZ_HARNESS);
    }();
    return chosen;
}

}  // namespace

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t max_size);

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t max_size,
                                               unsigned int seed) {
    size = LLVMFuzzerMutate(data, size, max_size);
    // One input in four keeps its broken checksums, so that their refusal stays covered too.
    if (harness().repair != nullptr && seed % 4 != 0) harness().repair(data, size);
    return size;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    harness().run(data, size);
    return 0;
}
