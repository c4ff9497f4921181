#include "image.h"

#include <cstring>
#include <limits>

#include "error.h"

namespace plox::ipl::lib {

namespace {

std::size_t row_stride_of(const PixelFormatInfo& format, std::size_t width) {
    // The chroma plane of YUV420 follows the whole Y plane, so rows step by the luma width.
    if (format.family == Family::yuv420) return width;
    return static_cast<std::size_t>(format.storage_size(width));
}

}  // namespace

std::size_t Image::byte_count(const PixelFormatInfo& format, std::size_t width, std::size_t height) {
    if (width == 0 || height == 0)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "image size ", width, "x", height, " of ", format.name,
             " has no pixels");
    const unsigned __int128 pixels = static_cast<unsigned __int128>(width) * height;
    const unsigned __int128 bits = pixels * format.storage_bits_per_pixel;
    if (pixels > UINT64_MAX || bits / 8 > SIZE_MAX / 2)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "image size ", width, "x", height, " of ", format.name,
             " is too large to address");
    return static_cast<std::size_t>(format.storage_size(static_cast<std::uint64_t>(pixels)));
}

Image::Image(const PixelFormatInfo& format, std::size_t width, std::size_t height, Fill fill)
    : Image(format, width, height, allocate_buffer(byte_count(format, width, height), fill)) {}

Image::Image(const PixelFormatInfo& format, std::size_t width, std::size_t height, std::uint8_t* data,
             std::uint64_t capacity, std::shared_ptr<void> owner)
    : format_(&format),
      width_(width),
      height_(height),
      byte_count_(byte_count(format, width, height)),
      row_stride_(row_stride_of(format, width)),
      owner_(std::move(owner)),
      data_(data) {
    if (data == nullptr) fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "image buffer must not be null");
    // An address range that runs past the end of the address space is no memory at all.
    const auto address = reinterpret_cast<std::uintptr_t>(data);
    if (capacity > std::numeric_limits<std::uintptr_t>::max() - address + 1)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "buffer of ", capacity, " bytes at address ",
             static_cast<const void*>(data), " runs past the end of the address space");
    if (capacity < byte_count_)
        fail(PLOX_IPL_RETURN_CODE_BUFFER_TOO_SMALL, "buffer of ", capacity, " bytes is smaller than the ",
             byte_count_, " bytes of a ", width, "x", height, " ", format.name, " image");
}

Image::Image(const PixelFormatInfo& format, std::size_t width, std::size_t height, Buffer storage)
    : format_(&format),
      width_(width),
      height_(height),
      byte_count_(byte_count(format, width, height)),
      row_stride_(row_stride_of(format, width)),
      storage_(std::move(storage)),
      data_(storage_.get()) {}

void Image::check_reshape(const PixelFormatInfo& format, std::size_t width, std::size_t height) const {
    const std::size_t bytes = byte_count(format, width, height);
    if (bytes != byte_count_)
        fail(PLOX_IPL_RETURN_CODE_ERROR, "a ", width, "x", height, " ", format.name, " image of ", bytes,
             " bytes cannot replace a ", width_, "x", height_, " ", format_->name, " image of ", byte_count_, " bytes");
}

void Image::reshape(const PixelFormatInfo& format, std::size_t width, std::size_t height) {
    check_reshape(format, width, height);
    format_ = &format;
    width_ = width;
    height_ = height;
    row_stride_ = row_stride_of(format, width);
}

void Image::take_pixels(const Image& result) {
    check_reshape(result.format(), result.width(), result.height());
    std::memcpy(data_, result.data(), byte_count_);
    reshape(result.format(), result.width(), result.height());
}

}  // namespace plox::ipl::lib
