// A reusable converter: a conversion mode and pools of output buffers, shared by every handle
// to it.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include <umb_plox_ipl/image.h>

#include "../core/buffer.h"
#include "../core/handle_registry.h"
#include "../core/image.h"

namespace plox::ipl::lib {

// Output buffers of one size. A buffer taken from the pool comes back when the last image using
// it is gone; if the pool is gone by then, the memory is freed.
class BufferPool : public std::enable_shared_from_this<BufferPool> {
public:
    BufferPool(std::size_t bytes, std::size_t count);
    std::size_t bytes() const noexcept { return bytes_; }
    // A free buffer, or an empty pointer when all are in use.
    Buffer take();

private:
    std::size_t bytes_;
    std::mutex mutex_;
    std::vector<Buffer> free_;
};

class Converter : public Object {
public:
    std::int32_t mode() const noexcept { return mode_.load(); }
    void set_mode(std::int32_t mode);

    // Keeps `count` output buffers ready for converting width x height images of `from` to `to`.
    void preallocate(const PixelFormatInfo& from, const PixelFormatInfo& to, std::size_t width, std::size_t height,
                     std::size_t count);

    // Into pooled memory when a pool fits and has a free buffer, fresh memory otherwise.
    std::shared_ptr<Image> convert(const Image& source, const PixelFormatInfo& to) const;
    // Into the caller's memory; nothing is written when it is too small.
    std::shared_ptr<Image> convert(const Image& source, const PixelFormatInfo& to, std::uint8_t* buffer,
                                   std::uint64_t size) const;

private:
    struct PoolKey {
        const PixelFormatInfo* from;
        const PixelFormatInfo* to;
        std::size_t width;
        std::size_t height;
        bool operator==(const PoolKey& other) const {
            return from == other.from && to == other.to && width == other.width && height == other.height;
        }
    };

    std::atomic<std::int32_t> mode_{PLOX_IPL_CONVERSION_MODE_FAST};
    mutable std::mutex mutex_;
    std::vector<std::pair<PoolKey, std::shared_ptr<BufferPool>>> pools_;
};

}  // namespace plox::ipl::lib
