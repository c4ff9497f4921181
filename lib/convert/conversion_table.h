// Which pixel format converts to which: the one source of the supported-output lists and of the
// refusals.
#pragma once

#include <cstdint>
#include <vector>

#include "../core/pixel_format_table.h"

namespace plox::ipl::lib {

bool conversion_supported(const PixelFormatInfo& from, const PixelFormatInfo& to);

// The codes `from` converts to, in the order of the format table.
std::vector<std::uint32_t> supported_outputs(const PixelFormatInfo& from);

}  // namespace plox::ipl::lib
