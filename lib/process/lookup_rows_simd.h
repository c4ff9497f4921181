// Byte lookups with the vector units: a run of 8-bit samples whose byte i takes the table of its
// position class i % period (one class for a uniform table, two for a Bayer row, three or four
// for the channels of a pixel).
#pragma once

#include <cstddef>
#include <cstdint>

namespace plox::ipl::lib {

struct ByteLookupPlan {
    // The distinct 256-entry tables, and for each phase of the run the bytes each one maps.
    const std::uint8_t* tables[4] = {};
    unsigned count = 0;
    // A vector of 64 bytes starts at phase (its offset % period); only a period of 3 has more than one.
    unsigned phases = 1;
    std::uint64_t masks[3][4] = {};
    std::uint64_t copied[3] = {};  // bytes of a class without a table (alpha)
};

// classes[c]: the table of position class c (null: copied), for c < period (1 to 4).
ByteLookupPlan byte_lookup_plan(const std::uint8_t* const* classes, unsigned period);

// Maps bytes [0, done) of the run, `done` being what it returns (the rest is the caller's; class
// of byte i is i % period). `out` may be `in`.
std::size_t map_bytes_simd(const std::uint8_t* in, std::uint8_t* out, std::size_t n, const ByteLookupPlan& plan);

}  // namespace plox::ipl::lib
