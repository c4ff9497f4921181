#include <umb_plox_ipl/image_io.h>

#include <climits>
#include <cstring>
#include <string>

#include "../io/image_files.h"
#include "entry.h"
#include "handles.h"

using namespace plox::ipl::lib;

namespace {

std::string path_of(const char* path, size_t length) {
    if (path == nullptr) fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "path must not be null");
    // Checked before the text is copied: a wrong length would read far past the caller's string.
    if (length >= PATH_MAX)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "pathLength ", length, " is not below the path limit ", PATH_MAX);
    std::string text(path, length);
    if (text.empty()) fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "path must not be empty");
    if (text.find('\0') != std::string::npos)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "path '", text.c_str(), "...' contains a zero byte");
    return text;
}

PLOX_IPL_RETURN_CODE write(PLOX_IPL_IMAGE_HANDLE image, const char* path, size_t length, bool by_ending,
                           FileType type, uint32_t quality) {
    return guarded([&] {
        const std::string target = path_of(path, length);
        const std::shared_ptr<Image> source = object_of<Image>(image, "image");
        if (by_ending) {
            type = file_type_of_path(target);
            quality = type == FileType::jpeg ? 75 : 100;
        }
        write_image(*source, target, type, quality);
    });
}

}  // namespace

extern "C" {

PLOX_IPL_RETURN_CODE PLOX_IPL_ImageReader_Read(const char* path, size_t pathLength, PLOX_IPL_IMAGE_HANDLE* image) {
    return guarded([&] {
        out(image, "image");
        publish(read_image(path_of(path, pathLength)), image);
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ImageReader_ReadAsPixelFormat(const char* path, size_t pathLength,
                                                            uint32_t pixelFormatName, PLOX_IPL_IMAGE_HANDLE* image) {
    return guarded([&] {
        out(image, "image");
        publish(read_image_as(path_of(path, pathLength), pixel_format(pixelFormatName)), image);
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ImageWriter_WriteAsPNG(PLOX_IPL_IMAGE_HANDLE image, uint32_t quality, const char* path,
                                                     size_t pathLength) {
    return write(image, path, pathLength, false, FileType::png, quality);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ImageWriter_WriteAsJPG(PLOX_IPL_IMAGE_HANDLE image, uint32_t quality, const char* path,
                                                     size_t pathLength) {
    return write(image, path, pathLength, false, FileType::jpeg, quality);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ImageWriter_WriteAsBMP(PLOX_IPL_IMAGE_HANDLE image, const char* path, size_t pathLength) {
    return write(image, path, pathLength, false, FileType::bmp, 0);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ImageWriter_WriteAsRAW(PLOX_IPL_IMAGE_HANDLE image, const char* path, size_t pathLength) {
    return write(image, path, pathLength, false, FileType::raw, 0);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ImageWriter_Write(PLOX_IPL_IMAGE_HANDLE image, const char* path, size_t pathLength) {
    return write(image, path, pathLength, true, FileType::png, 0);
}

}  // extern "C"
