// Whole files in and out. Writes go to a temporary file in the target's folder that is renamed
// into place, so a failed write never leaves a half-written file under the target name.
#pragma once

#include <cstdint>
#include <string>

#include "raster.h"

namespace plox::ipl::lib {

// The file's bytes; IO_ERROR naming the path and the system's reason when it cannot be read.
Encoded read_file(const std::string& path);

void write_file_atomically(const std::string& path, const std::uint8_t* data, std::size_t size);

}  // namespace plox::ipl::lib
