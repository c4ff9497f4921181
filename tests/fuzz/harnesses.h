// Every fuzzing harness by name: the libFuzzer targets and the regression test share this list,
// and tests/fuzz/regressions/<name>/ keeps the inputs that once broke each.
#pragma once

#include <cstddef>
#include <cstdint>

#include "buffer_images.h"
#include "readers.h"

namespace plox::ipl::fuzz {

struct Harness {
    const char* name;
    void (*run)(const std::uint8_t* data, std::size_t size);
    // Fixes checksums after a mutation, or nullptr.
    void (*repair)(std::uint8_t* data, std::size_t size);
};

inline constexpr Harness kHarnesses[] = {
    {"png", read_decoded<lib::decode_png>, repair_png_crcs},
    {"jpeg", read_decoded<lib::decode_jpeg>, nullptr},
    {"bmp", read_decoded<lib::decode_bmp>, nullptr},
    {"raw", read_raw, nullptr},
    {"file_type", read_by_file_type, nullptr},
    {"buffer", construct_from_buffer, nullptr},
};

}  // namespace plox::ipl::fuzz
