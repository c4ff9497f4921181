// Reusable pixel format conversion with pools of output buffers.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <utility>
#include <vector>

#include <umb_plox_ipl/image_converter.h>

#include "Exception.h"
#include "Image.h"
#include "PixelFormat.h"

namespace plox {
namespace ipl {

/**
 * \brief Converts images between pixel formats, reusing pre-allocated output buffers.
 * \since 1.9.2
 */
class ImageConverter {
public:
    /**
     * \brief Creates a converter in ConversionMode::Fast without buffer pools.
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    ImageConverter() {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_ImageConverter_Construct(&handle_); });
    }

    /**
     * \brief This only creates a shallow copy: both converters share mode and pools.
     * \param other The converter to share
     * \since 1.9.2
     */
    ImageConverter(const ImageConverter& other) {
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_ImageConverter_AcquireReference(other.handle_, &handle_); });
    }

    /** \brief Takes the other converter's handle; the other one must not be used afterwards. */
    ImageConverter(ImageConverter&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}

    /**
     * \brief Creates a converter and pre-allocates a conversion.
     * \param inputPixelFormat The pixel format of the input images
     * \param outputPixelFormat The pixel format of the converted images
     * \param width Width of the images
     * \param height Height of the images
     * \param imageCount Maximum number of converted images held at one time
     * \throws ImageFormatNotSupportedException The conversion is not supported.
     * \since 1.9.2
     */
    ImageConverter(const PixelFormat& inputPixelFormat, const PixelFormat& outputPixelFormat, size_t width,
                   size_t height, size_t imageCount = 5)
        : ImageConverter() {
        PreAllocateConversion(inputPixelFormat, outputPixelFormat, width, height, imageCount);
    }

    ImageConverter& operator=(const ImageConverter&) = delete;
    ImageConverter& operator=(ImageConverter&&) = delete;

    ~ImageConverter() {
        if (handle_ != nullptr) PLOX_IPL_ImageConverter_Destruct(handle_);
    }

    /**
     * \brief The conversion mode used by Convert.
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    ::plox::ipl::ConversionMode ConversionMode() const {
        int32_t mode = 0;
        ExecuteAndMapReturnCodes([&] { return PLOX_IPL_ImageConverter_GetConversionMode(handle_, &mode); });
        return static_cast<::plox::ipl::ConversionMode>(mode);
    }

    /**
     * \brief Sets the conversion mode used by Convert.
     * \param conversionMode The conversion mode
     * \throws InvalidArgumentException The mode is unknown.
     * \since 1.9.2
     */
    void SetConversionMode(::plox::ipl::ConversionMode conversionMode) {
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_ImageConverter_SetConversionMode(handle_, static_cast<int32_t>(conversionMode));
        });
    }

    /**
     * \brief Pre-allocate buffer pools needed for the specified conversion.
     * \param inputPixelFormat The pixel format of the input images
     * \param outputPixelFormat The pixel format of the converted images
     * \param width Width of the images
     * \param height Height of the images
     * \param imageCount Maximum number of converted images held at one time
     * \throws ImageFormatNotSupportedException The conversion is not supported.
     * \since 1.9.2
     */
    void PreAllocateConversion(const PixelFormat& inputPixelFormat, const PixelFormat& outputPixelFormat, size_t width,
                               size_t height, size_t imageCount = 5) {
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_ImageConverter_PreAllocateConversion(handle_, Code(inputPixelFormat),
                                                                 Code(outputPixelFormat), width, height, imageCount);
        });
    }

    /**
     * \brief The pixel formats an input format can be converted to.
     * \param inputPixelFormat The input pixel format
     * \return The output pixel format names
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    std::vector<PixelFormatName> SupportedOutputPixelFormatNames(const PixelFormat& inputPixelFormat) const {
        size_t count = 0;
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_ImageConverter_GetSupportedOutputPixelFormatNames(handle_, Code(inputPixelFormat), nullptr,
                                                                             &count);
        });
        std::vector<uint32_t> codes(count);
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_ImageConverter_GetSupportedOutputPixelFormatNames(handle_, Code(inputPixelFormat),
                                                                             codes.data(), &count);
        });
        std::vector<PixelFormatName> names;
        names.reserve(count);
        for (size_t i = 0; i < count; ++i) names.push_back(static_cast<PixelFormatName>(codes[i]));
        return names;
    }

    /**
     * \brief Converts an image; the result takes a pooled buffer when one is free.
     * \param inputImage The image to convert
     * \param outputPixelFormat The pixel format of the result
     * \return The converted image
     * \throws ImageFormatNotSupportedException The conversion is not supported.
     * \since 1.9.2
     */
    Image Convert(const Image& inputImage, const PixelFormat& outputPixelFormat) const {
        PLOX_IPL_IMAGE_HANDLE output = nullptr;
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_ImageConverter_Convert(handle_, inputImage.GetBackendHandle(), Code(outputPixelFormat),
                                                   &output);
        });
        return Image(output);
    }

    /**
     * \brief Converts an image into the caller's buffer.
     * \param inputImage The image to convert
     * \param outputPixelFormat The pixel format of the result
     * \param outputImageBuffer The memory that receives the result
     * \param outputImageBufferSize Its size in bytes
     * \return An image over the buffer
     * \throws BufferTooSmallException The provided buffer is too small for the output image.
     * \throws ImageFormatNotSupportedException The conversion is not supported.
     * \since 1.9.2
     */
    Image Convert(const Image& inputImage, const PixelFormat& outputPixelFormat, uint8_t* outputImageBuffer,
                  size_t outputImageBufferSize) const {
        PLOX_IPL_IMAGE_HANDLE output = nullptr;
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_ImageConverter_ConvertToBuffer(handle_, inputImage.GetBackendHandle(),
                                                           Code(outputPixelFormat), outputImageBuffer,
                                                           outputImageBufferSize, &output);
        });
        return Image(output);
    }

private:
    static uint32_t Code(const PixelFormat& format) { return static_cast<uint32_t>(format.PixelFormatName()); }

    PLOX_IPL_IMAGE_CONVERTER_HANDLE handle_ = nullptr;
};

}  // namespace ipl
}  // namespace plox
