// Whole files in and out. Writes go to a temporary file in the target's folder that is renamed
// into place, so a failed write never leaves a half-written file under the target name.
#pragma once

#include <cstdint>
#include <string>

#include "raster.h"

namespace plox::ipl::lib {

// The file's bytes; IO_ERROR naming the path and the system's reason when it cannot be read.
Encoded read_file(const std::string& path);

// Writes through symbolic links to the file they name. A replaced file keeps its permission
// bits, a new one gets 0666 less the umask; a file open() would not open for writing is refused
// with IO_ERROR naming the path and the reason. In a folder the caller may not add files to, a
// writable file is written in place.
void write_file_atomically(const std::string& path, const std::uint8_t* data, std::size_t size);

}  // namespace plox::ipl::lib
