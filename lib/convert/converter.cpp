#include "converter.h"

#include <cstring>

#include "../core/error.h"
#include "../process/output.h"
#include "convert.h"

namespace plox::ipl::lib {

BufferPool::BufferPool(std::size_t bytes, std::size_t count) : bytes_(bytes) {
    free_.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        Buffer buffer = allocate_buffer(bytes);
        std::memset(buffer.get(), 0, bytes);  // fault the pages in now, not during the first frames
        free_.push_back(std::move(buffer));
    }
}

Buffer BufferPool::take() {
    Buffer buffer;
    {
        std::lock_guard lock(mutex_);
        if (free_.empty()) return nullptr;
        buffer = std::move(free_.back());
        free_.pop_back();
    }
    std::weak_ptr<BufferPool> pool = weak_from_this();
    std::uint8_t* data = buffer.get();
    return Buffer(data, [pool, buffer](std::uint8_t*) mutable {
        if (std::shared_ptr<BufferPool> owner = pool.lock()) {
            std::lock_guard lock(owner->mutex_);
            owner->free_.push_back(std::move(buffer));
        }
    });
}

void Converter::set_mode(std::int32_t mode) {
    if (mode < PLOX_IPL_CONVERSION_MODE_FAST || mode > PLOX_IPL_CONVERSION_MODE_CLASSIC)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "conversion mode ", mode, " is unknown");
    mode_.store(mode);
}

void Converter::preallocate(const PixelFormatInfo& from, const PixelFormatInfo& to, std::size_t width,
                            std::size_t height, std::size_t count) {
    check_conversion(from, to, width, height, PLOX_IPL_CONVERSION_MODE_FAST);
    if (count == 0) fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "image count 0 must be at least 1");
    const std::size_t bytes = Image::byte_count(to, width, height);
    if (count > SIZE_MAX / bytes)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "image count ", count, " of ", bytes, " bytes is too large");
    auto pool = std::make_shared<BufferPool>(bytes, count);
    const PoolKey key{&from, &to, width, height};
    std::lock_guard lock(mutex_);
    for (auto& entry : pools_) {
        if (entry.first == key) {
            entry.second = std::move(pool);
            return;
        }
    }
    pools_.emplace_back(key, std::move(pool));
}

std::shared_ptr<Image> Converter::convert(const Image& source, const PixelFormatInfo& to) const {
    const std::int32_t conversion_mode = mode();
    check_conversion(source.format(), to, source.width(), source.height(), conversion_mode);
    Buffer pooled;
    {
        const PoolKey key{&source.format(), &to, source.width(), source.height()};
        std::lock_guard lock(mutex_);
        for (const auto& entry : pools_) {
            if (entry.first == key) pooled = entry.second->take();
        }
    }
    auto target = Destination::pooled(std::move(pooled)).make(to, source.width(), source.height());
    convert_into(source, *target, conversion_mode);
    return target;
}

std::shared_ptr<Image> Converter::convert(const Image& source, const PixelFormatInfo& to, std::uint8_t* buffer,
                                          std::uint64_t size) const {
    const std::int32_t conversion_mode = mode();
    check_conversion(source.format(), to, source.width(), source.height(), conversion_mode);
    auto target = Destination::caller(buffer, size).make(to, source.width(), source.height());
    convert_into(source, *target, conversion_mode);
    return target;
}

}  // namespace plox::ipl::lib
