// Writing image files.
#pragma once

#include <stdint.h>

#include <string>

#include <umb_plox_ipl/image_io.h>

#include "Exception.h"
#include "Image.h"

namespace plox {
namespace ipl {

/** \brief The parameter for the PNG image e.g. compression. \since 1.9.2 */
struct ImageWriterPNGParameter {
    // Compression effort 0..100; 100 is a balanced default
    uint32_t Quality = 100;
};

/** \brief The parameter for the JPEG image. \since 1.9.2 */
struct ImageWriterJPEGParameter {
    // JPEG quality 1..100
    uint32_t Quality = 75;
};

/**
 * \brief Writes images as PNG, JPEG, BMP and raw files. All methods are static.
 *
 * Writes go to a temporary file that is renamed into place: a failed write leaves no file under the target name.
 * \since 1.9.2
 */
class ImageWriter {
public:
    ImageWriter() = delete;

    /**
     * \brief Writes a PNG file.
     *
     * Written as is: Mono8, Mono10, Mono12, RGB8, RGB10, RGB12, RGBa8, RGBa10, RGBa12. Written as Mono: BayerGR8,
     * BayerRG8, BayerGB8, BayerBG8, BayerGR10, BayerRG10, BayerGB10, BayerBG10, BayerGR12, BayerRG12, BayerGB12,
     * BayerBG12. Written as RGB: BGR8, BGR10, BGR12, BGRa8, BGRa10, RGBa12.
     * \param filePath The path of the file
     * \param imageToSave The image
     * \param parameter The parameter for the PNG image e.g. compression
     * \throws ImageFormatNotSupportedException A file type isn't supported for this image pixel format
     * \throws IOException Errors during file access e.g. no permissions on this file
     * \throws InvalidArgumentException Arguments passed are invalid
     * \throws Exception An internal error has occurred
     * \since 1.9.2
     */
    static void WriteAsPNG(const std::string& filePath, const Image& imageToSave,
                           const ImageWriterPNGParameter& parameter) {
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_ImageWriter_WriteAsPNG(imageToSave.GetBackendHandle(), parameter.Quality, filePath.data(),
                                                   filePath.size());
        });
    }

    /**
     * \brief Writes a JPEG file.
     *
     * Written as is: Mono8, RGB8, BGR8, RGBa8, BGRa8. Written as Mono: BayerGR8, BayerRG8, BayerGB8, BayerBG8.
     * \param filePath The path of the file
     * \param imageToSave The image
     * \param parameter The parameter for the JPEG image
     * \throws ImageFormatNotSupportedException A file type isn't supported for this image pixel format
     * \throws IOException Errors during file access e.g. no permissions on this file
     * \throws InvalidArgumentException Arguments passed are invalid
     * \throws Exception An internal error has occurred
     * \since 1.9.2
     */
    static void WriteAsJPG(const std::string& filePath, const Image& imageToSave,
                           const ImageWriterJPEGParameter& parameter) {
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_ImageWriter_WriteAsJPG(imageToSave.GetBackendHandle(), parameter.Quality, filePath.data(),
                                                   filePath.size());
        });
    }

    /**
     * \brief Writes a BMP file.
     *
     * Written as is: Mono8, Mono10, Mono12, RGB8, BGR8, RGBa8, BGRa8. Written as Mono: the twelve Bayer formats of
     * 8, 10 and 12 bits. 10 and 12-bit data is narrowed to 8 bits.
     * \param filePath The path of the file
     * \param imageToSave The image
     * \throws ImageFormatNotSupportedException A file type isn't supported for this image pixel format
     * \throws IOException Errors during file access e.g. no permissions on this file
     * \throws InvalidArgumentException Arguments passed are invalid
     * \throws Exception An internal error has occurred
     * \since 1.9.2
     */
    static void WriteAsBMP(const std::string& filePath, const Image& imageToSave) {
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_ImageWriter_WriteAsBMP(imageToSave.GetBackendHandle(), filePath.data(), filePath.size());
        });
    }

    /**
     * \brief Writes a raw file: a 32-byte header, then the image bytes as in memory.
     *
     * Every non-packed pixel format.
     * \param filePath The path of the file
     * \param imageToSave The image
     * \throws ImageFormatNotSupportedException A file type isn't supported for this image pixel format
     * \throws IOException Errors during file access e.g. no permissions on this file
     * \throws InvalidArgumentException Arguments passed are invalid
     * \throws Exception An internal error has occurred
     * \since 1.9.2
     */
    static void WriteAsRAW(const std::string& filePath, const Image& imageToSave) {
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_ImageWriter_WriteAsRAW(imageToSave.GetBackendHandle(), filePath.data(), filePath.size());
        });
    }

    /**
     * \brief Writes a file whose type is chosen by the file ending: .png, .jpg, .jpeg, .bmp, .raw (any case).
     * \param filePath The path of the file
     * \param imageToSave The image
     * \throws ImageFormatNotSupportedException A file type is not supported for this image pixel format
     * \throws IOException Errors during file access e.g. no permissions on this file
     * \throws InvalidArgumentException Arguments passed are invalid
     * \throws Exception An internal error has occurred
     * \since 1.9.2
     */
    static void Write(const std::string& filePath, const Image& imageToSave) {
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_ImageWriter_Write(imageToSave.GetBackendHandle(), filePath.data(), filePath.size());
        });
    }
};

}  // namespace ipl
}  // namespace plox
