// Images to and from PNG, JPEG, BMP and raw files: which pixel formats each file type holds,
// and how decoded pictures become images.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "../core/image.h"

namespace plox::ipl::lib {

enum class FileType { png, jpeg, bmp, raw };

void write_image(const Image& image, const std::string& path, FileType type, std::uint32_t quality);

// The type named by the path's ending (.png, .jpg, .jpeg, .bmp, .raw, any case); INVALID_ARGUMENT
// naming the ending otherwise.
FileType file_type_of_path(const std::string& path);

// The file's natural pixel format. The file type is recognised by its content.
std::shared_ptr<Image> read_image(const std::string& path);

// The file's data interpreted as `format` where channels and depth fit;
// FORMAT_INTERPRETATION_ERROR where they don't, IMAGE_FORMAT_NOT_SUPPORTED for packed formats.
std::shared_ptr<Image> read_image_as(const std::string& path, const PixelFormatInfo& format);

}  // namespace plox::ipl::lib
