// Reading image files.
#pragma once

#include <string>

#include <umb_plox_ipl/image_io.h>

#include "Exception.h"
#include "Image.h"
#include "PixelFormat.h"

namespace plox {
namespace ipl {

/**
 * \brief Reads PNG, JPEG, BMP and raw files into images. All methods are static.
 * \since 1.9.2
 */
class ImageReader {
public:
    ImageReader() = delete;

    /**
     * \brief Reads an image file in its natural pixel format.
     *
     * The file type is recognised by the file's content: PNG (grey 8 -> Mono8, grey 16 -> Mono16 or the depth
     * of its sBIT chunk, RGB, RGBA, palette), JPEG, BMP and raw files written by ImageWriter.
     * \param filePath The path of the file
     * \return The image
     * \throws ImageFormatNotSupportedException An image format of this file isn't supported
     * \throws IOException Errors during file access e.g. no permissions on this file
     * \throws InvalidArgumentException Arguments passed are invalid
     * \throws Exception An internal error has occurred
     * \since 1.9.2
     */
    static Image Read(const std::string& filePath) {
        PLOX_IPL_IMAGE_HANDLE handle = nullptr;
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_ImageReader_Read(filePath.data(), filePath.size(), &handle); });
        return Image(handle);
    }

    /**
     * \brief Reads an image file and interprets its data as the given pixel format.
     * \param filePath The path of the file
     * \param pixelFormat The pixel format to interpret the data as
     * \return The image
     * \throws ImageFormatInterpretationException Can't interpret this file with the given pixel format
     * \throws ImageFormatNotSupportedException An image format of this file isn't supported
     * \throws IOException Errors during file access e.g. no permissions on this file
     * \throws InvalidArgumentException Arguments passed are invalid
     * \throws Exception An internal error has occurred
     * \since 1.9.2
     */
    static Image Read(const std::string& filePath, const PixelFormat& pixelFormat) {
        PLOX_IPL_IMAGE_HANDLE handle = nullptr;
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_ImageReader_ReadAsPixelFormat(
                filePath.data(), filePath.size(), static_cast<uint32_t>(pixelFormat.PixelFormatName()), &handle);
        });
        return Image(handle);
    }
};

}  // namespace ipl
}  // namespace plox
