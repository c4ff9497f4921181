// An image: pixel format, size, timestamp and its bytes, which it owns or borrows.
#pragma once

#include <cstddef>
#include <cstdint>

#include "buffer.h"
#include "handle_registry.h"
#include "pixel_format_table.h"

namespace plox::ipl::lib {

class Image : public Object {
public:
    // Fresh memory, zero-filled unless the caller overwrites every byte (Fill::none).
    Image(const PixelFormatInfo& format, std::size_t width, std::size_t height, Fill fill = Fill::zeros);
    // Memory of the caller, used in place for the image's whole life; `capacity` is checked.
    // `owner`, if given, is released with the image.
    Image(const PixelFormatInfo& format, std::size_t width, std::size_t height, std::uint8_t* data,
          std::uint64_t capacity, std::shared_ptr<void> owner = nullptr);
    // Memory from a pool or another owner, at least byte_count(format, width, height) long.
    Image(const PixelFormatInfo& format, std::size_t width, std::size_t height, Buffer storage);

    const PixelFormatInfo& format() const noexcept { return *format_; }
    std::size_t width() const noexcept { return width_; }
    std::size_t height() const noexcept { return height_; }
    std::size_t byte_count() const noexcept { return byte_count_; }
    std::uint8_t* data() const noexcept { return data_; }
    // Bytes from one row to the next (of the Y plane for YUV420). Rows of a bit-packed format
    // whose width is not a whole number of groups share bytes and have no row of their own.
    std::size_t row_stride() const noexcept { return row_stride_; }
    std::uint8_t* row(std::size_t y) const noexcept { return data_ + y * row_stride_; }
    // Row y as samples of type T (the container type of the format).
    template <class T>
    T* row(std::size_t y) const noexcept {
        return reinterpret_cast<T*>(row(y));
    }
    std::uint64_t timestamp() const noexcept { return timestamp_; }
    void set_timestamp(std::uint64_t timestamp) noexcept { timestamp_ = timestamp; }

    // Gives the image another format and size with its byte count (a mirrored mosaic's pattern,
    // rotated sides), keeping the bytes. check_reshape throws what reshape would, changing nothing.
    void check_reshape(const PixelFormatInfo& format, std::size_t width, std::size_t height) const;
    void reshape(const PixelFormatInfo& format, std::size_t width, std::size_t height);
    // Takes over the format, size and bytes of `result`, copied into this image's memory (which
    // stays its own, so views and a caller's buffer see them). Same byte count only.
    void take_pixels(const Image& result);

    // Bytes of a width x height image; throws INVALID_ARGUMENT for a zero side or a size that
    // does not fit in memory addresses.
    static std::size_t byte_count(const PixelFormatInfo& format, std::size_t width, std::size_t height);

private:
    const PixelFormatInfo* format_;
    std::size_t width_;
    std::size_t height_;
    std::size_t byte_count_;
    std::size_t row_stride_;
    Buffer storage_;  // empty for caller memory
    std::shared_ptr<void> owner_;
    std::uint8_t* data_;
    std::uint64_t timestamp_ = 0;
};

}  // namespace plox::ipl::lib
