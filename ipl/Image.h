// The image every operation takes and gives: one library image handle.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <stddef.h>
#include <stdint.h>
#include <utility>

#include <umb_plox_ipl/image.h>

#include "Exception.h"
#include "PixelFormat.h"
#include "Types.h"

namespace plox {
namespace ipl {

/** \brief Resampling method of Image::Scale, with OpenCV's meaning of each name. */
enum class InterpolationAlgorithm {
    nearest = PLOX_IPL_INTERPOLATION_NEAREST,
    linear = PLOX_IPL_INTERPOLATION_LINEAR,
    cubic = PLOX_IPL_INTERPOLATION_CUBIC,
    area = PLOX_IPL_INTERPOLATION_AREA,
    lanczos4 = PLOX_IPL_INTERPOLATION_LANCZOS4,
    linear_exact = PLOX_IPL_INTERPOLATION_LINEAR_EXACT,
    nearest_exact = PLOX_IPL_INTERPOLATION_NEAREST_EXACT
};

/**
 * \brief An image: pixel format, size, timestamp and pixel data, held by the library.
 *
 * An image can be empty if its data have been moved.
 * \since 1.9.2
 */
class Image {
public:
    /** \brief Takes ownership of a library image handle. */
    explicit Image(PLOX_IPL_IMAGE_HANDLE handle) noexcept : handle_(handle) {}
    Image(Image&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
    Image& operator=(Image&& other) noexcept {
        if (this != &other) {
            Release();
            handle_ = std::exchange(other.handle_, nullptr);
        }
        return *this;
    }
    Image(const Image&) = delete;
    Image& operator=(const Image&) = delete;
    ~Image() { Release(); }

    /**
     * \brief Creates a new image with zero-filled pixels.
     * \param pixelFormatName The pixel format
     * \param width Width in pixels
     * \param height Height in pixels
     * \return The new image
     * \throws InvalidArgumentException A side is zero or the image is too large.
     * \since 1.9.2
     */
    static Image CreateFromSize(PixelFormatName pixelFormatName, size_t width, size_t height) {
        PLOX_IPL_IMAGE_HANDLE handle = nullptr;
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_Image_Construct(static_cast<std::uint32_t>(pixelFormatName), width, height, &handle);
        });
        return Image(handle);
    }

    /**
     * \brief Creates an image over existing memory, without copying it.
     *
     * The image uses the memory for its whole life: keep it alive and unmoved until the image is gone.
     * \param pixelFormatName The pixel format
     * \param buffer Address of the first byte
     * \param bufferSize_bytes Size of the memory in bytes
     * \param width Width in pixels
     * \param height Height in pixels
     * \return The new image
     * \throws BufferTooSmallException The memory is smaller than the image.
     * \since 1.9.2
     */
    static Image CreateFromSizeAndBuffer(PixelFormatName pixelFormatName, void* buffer, size_t bufferSize_bytes,
                                         size_t width, size_t height) {
        PLOX_IPL_IMAGE_HANDLE handle = nullptr;
        ExecuteAndMapReturnCodes([&] {
            return PLOX_IPL_Image_ConstructFromBuffer(static_cast<std::uint32_t>(pixelFormatName),
                                                      static_cast<std::uint8_t*>(buffer), bufferSize_bytes, width,
                                                      height, &handle);
        });
        return Image(handle);
    }

    /**
     * \brief The width in pixels.
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    size_t Width() const { return Query<size_t>(&PLOX_IPL_Image_GetWidth); }

    /**
     * \brief The height in pixels.
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    size_t Height() const { return Query<size_t>(&PLOX_IPL_Image_GetHeight); }

    /**
     * \brief The size in pixels.
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    Size2D Size() const {
        const size_t width = Width();
        return Size2D::New(width, Height());
    }

    /**
     * \brief The size of the image data in bytes.
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    size_t ByteCount() const { return Query<size_t>(&PLOX_IPL_Image_GetByteCount); }

    /**
     * \brief The pixel format.
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    ::plox::ipl::PixelFormat PixelFormat() const {
        return ::plox::ipl::PixelFormat(
            static_cast<PixelFormatName>(Query<std::uint32_t>(&PLOX_IPL_Image_GetPixelFormat)));
    }

    /**
     * \brief The address of the first byte of the image data.
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    std::uint8_t* Data() const { return Query<std::uint8_t*>(&PLOX_IPL_Image_GetData); }

    /**
     * \brief The point in camera time at which the image was exposed.
     * \return Nanoseconds; 0 for images created by the library
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    std::uint64_t Timestamp() const { return Query<std::uint64_t>(&PLOX_IPL_Image_GetTimestamp); }

    /**
     * \brief Whether the image holds no data (after a move, or with an invalid format).
     * \since 1.9.2
     */
    bool Empty() const {
        if (handle_ == nullptr) return true;
        return Query<std::uint32_t>(&PLOX_IPL_Image_GetPixelFormat) == 0;
    }

    /**
     * \brief The library handle, still owned by this image.
     *
     * The handle might be invalid in the meantime, because no lifetime tracking is enabled by the handle itself.
     * \since 1.9.2
     */
    PLOX_IPL_IMAGE_HANDLE GetBackendHandle() const { return handle_; }

    /**
     * \brief A deep copy with its own memory.
     * \throws Exception An internal error has occurred.
     * \since 1.9.2
     */
    Image Clone() const { return Make([&](PLOX_IPL_IMAGE_HANDLE* out) { return PLOX_IPL_Image_Clone(handle_, out); }); }

    /**
     * \brief Converts the image to another pixel format.
     *
     * This function allocates memory on every use. For faster processing, consider using
     * ImageConverter::Convert instead.
     * \param outputPixelFormat The pixel format of the result
     * \param conversionMode The conversion mode
     * \return The converted image
     * \throws ImageFormatNotSupportedException The conversion is not supported.
     * \since 1.9.2
     */
    Image ConvertTo(const ::plox::ipl::PixelFormat& outputPixelFormat,
                    ConversionMode conversionMode = ConversionMode::Fast) const {
        return Make([&](PLOX_IPL_IMAGE_HANDLE* out) {
            return PLOX_IPL_Image_ConvertTo(handle_, Code(outputPixelFormat), static_cast<std::int32_t>(conversionMode),
                                            out);
        });
    }

    /**
     * \brief Converts the image to another pixel format, into the caller's buffer.
     * \param outputPixelFormat The pixel format of the result
     * \param outputImageBuffer The memory that receives the result
     * \param outputImageBufferSize Its size in bytes
     * \param conversionMode The conversion mode
     * \return An image over the buffer
     * \throws BufferTooSmallException The provided buffer is too small for the output image.
     * \throws ImageFormatNotSupportedException The conversion is not supported.
     * \since 1.9.2
     */
    Image ConvertTo(const ::plox::ipl::PixelFormat& outputPixelFormat, uint8_t* outputImageBuffer,
                    size_t outputImageBufferSize, ConversionMode conversionMode = ConversionMode::Fast) const {
        return Make([&](PLOX_IPL_IMAGE_HANDLE* out) {
            return PLOX_IPL_Image_ConvertToBuffer(handle_, Code(outputPixelFormat), outputImageBuffer,
                                                  outputImageBufferSize, static_cast<std::int32_t>(conversionMode),
                                                  out);
        });
    }

    /**
     * \brief Converts the image and multiplies each output value by a factor.
     * \param outputPixelFormat The pixel format of the result
     * \param factor The factor multiplied to each output pixel; results are rounded and saturated
     * \param conversionMode The conversion mode
     * \return The converted image
     * \throws ImageFormatNotSupportedException The conversion is not supported.
     * \since 1.9.2
     */
    Image ConvertToWithFactor(const ::plox::ipl::PixelFormat& outputPixelFormat, double factor,
                              ConversionMode conversionMode = ConversionMode::Fast) const {
        return Make([&](PLOX_IPL_IMAGE_HANDLE* out) {
            return PLOX_IPL_Image_ConvertToWithFactor(handle_, Code(outputPixelFormat), factor,
                                                      static_cast<std::int32_t>(conversionMode), out);
        });
    }

    /**
     * \brief Resamples the image to a size.
     * \param size The size of the result
     * \param algorithm The interpolation
     * \return The scaled image
     * \throws ImageFormatNotSupportedException Bayer, packed and YUV images cannot be scaled.
     * \since 1.9.2
     */
    Image Scale(const Size2D& size, InterpolationAlgorithm algorithm = InterpolationAlgorithm::linear) const {
        return Make([&](PLOX_IPL_IMAGE_HANDLE* out) {
            return PLOX_IPL_Image_Scale(handle_, size.width, size.height, static_cast<std::int32_t>(algorithm), out);
        });
    }

    /**
     * \brief Resamples the image by factors; the result is the rounded product of size and factor.
     * \param factor The scale factors
     * \param algorithm The interpolation
     * \return The scaled image
     * \throws ImageFormatNotSupportedException Bayer, packed and YUV images cannot be scaled.
     * \since 1.9.2
     */
    Image Scale(const ScaleFactor& factor, InterpolationAlgorithm algorithm = InterpolationAlgorithm::linear) const {
        const Size2D size = Size();
        return Scale(Size2D::New(Scaled(size.width, factor.x), Scaled(size.height, factor.y)), algorithm);
    }

    /**
     * \brief Resamples the image to a size, into the caller's buffer.
     * \param size The size of the result
     * \param buffer The memory that receives the result
     * \param bufferSize Its size in bytes
     * \param algorithm The interpolation
     * \return An image over the buffer
     * \throws BufferTooSmallException The buffer is too small for the result; nothing is written.
     * \since 1.9.2
     */
    Image ScaleInto(const Size2D& size, uint8_t* buffer, std::size_t bufferSize,
                    InterpolationAlgorithm algorithm = InterpolationAlgorithm::linear) const {
        return Make([&](PLOX_IPL_IMAGE_HANDLE* out) {
            return PLOX_IPL_Image_ScaleInto(handle_, size.width, size.height, buffer, bufferSize,
                                            static_cast<std::int32_t>(algorithm), out);
        });
    }

    /**
     * \brief A copy of the region of the given size at the given position.
     * \param pos The top-left corner of the region
     * \param size The size of the region
     * \return The region as a new image
     * \throws OutOfRangeException The region does not fit in the image.
     * \since 1.9.2
     */
    Image Crop(const Point2D& pos, const Size2D& size) const {
        return Make([&](PLOX_IPL_IMAGE_HANDLE* out) {
            return PLOX_IPL_Image_Crop(handle_, pos.x, pos.y, size.width, size.height, out);
        });
    }

    /**
     * \brief A copy of the region of the given size at the top-left corner.
     * \param size The size of the region
     * \return The region as a new image
     * \throws OutOfRangeException The region does not fit in the image.
     * \since 1.9.2
     */
    Image Crop(const Size2D& size) const { return Crop(Point2D::New(0, 0), size); }

    /**
     * \brief Data-wise the same: byte count, size, pixel format, timestamp and every byte.
     * \since 1.9.2
     */
    bool operator==(const Image& other) const {
        const size_t bytes = ByteCount();
        if (bytes != other.ByteCount() || Width() != other.Width() || Height() != other.Height() ||
            !(PixelFormat() == other.PixelFormat()) || Timestamp() != other.Timestamp())
            return false;
        return std::memcmp(Data(), other.Data(), bytes) == 0;
    }

    /** \brief Not data-wise the same. \since 1.9.2 */
    bool operator!=(const Image& other) const { return !(*this == other); }

private:
    void Release() noexcept {
        if (handle_ != nullptr) PLOX_IPL_Image_Destruct(handle_);
        handle_ = nullptr;
    }

    static std::uint32_t Code(const ::plox::ipl::PixelFormat& format) {
        return static_cast<std::uint32_t>(format.PixelFormatName());
    }

    // round(side * factor); anything below one pixel becomes 0, which the library refuses.
    static size_t Scaled(size_t side, double factor) {
        const double scaled = std::round(static_cast<double>(side) * factor);
        return scaled >= 1.0 && scaled < 9.2e18 ? static_cast<size_t>(scaled) : 0;
    }

    template <class T>
    T Query(PLOX_IPL_RETURN_CODE (*function)(PLOX_IPL_IMAGE_HANDLE, T*)) const {
        T result{};
        ExecuteAndMapReturnCodes([&] { return function(handle_, &result); });
        return result;
    }

    template <class Call>
    static Image Make(Call&& call) {
        PLOX_IPL_IMAGE_HANDLE handle = nullptr;
        ExecuteAndMapReturnCodes([&] { return call(&handle); });
        return Image(handle);
    }

    PLOX_IPL_IMAGE_HANDLE handle_ = nullptr;
};

}  // namespace ipl
}  // namespace plox
