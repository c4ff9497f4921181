// The result image of an operation: in fresh memory, in a pooled buffer, over the caller's
// buffer, or the input itself. One rule for all of them: nothing is written when the operation
// fails. Every check runs before the first byte is written, and an in-place operation that
// cannot work in place writes a scratch result that replaces the image only once it is complete.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include "../core/buffer.h"
#include "../core/image.h"

namespace plox::ipl::lib {

// Where a new result lives.
class Destination {
public:
    static Destination fresh() { return Destination(); }
    // A pooled buffer at least as long as the result; an empty one means fresh memory.
    static Destination pooled(Buffer buffer) {
        Destination d;
        d.pooled_ = std::move(buffer);
        return d;
    }
    // The caller's memory, kept for the result's whole life; null is refused.
    static Destination caller(std::uint8_t* buffer, std::uint64_t size) {
        Destination d;
        d.caller_ = true;
        d.buffer_ = buffer;
        d.size_ = size;
        return d;
    }

    // The result image, not zero-filled (the operation writes every byte). A null or short
    // caller buffer is refused here, before the operation writes anything.
    std::shared_ptr<Image> make(const PixelFormatInfo& format, std::size_t width, std::size_t height) &&;

private:
    Destination() = default;

    Buffer pooled_;
    bool caller_ = false;
    std::uint8_t* buffer_ = nullptr;
    std::uint64_t size_ = 0;
};

// How an in-place operation treats the image it changes.
enum class InPlace {
    direct,   // the kernel reads every value before it writes it, with the image as source and
              // target; it must not fail once it has begun to write
    scratch,  // the kernel writes a separate result, which then replaces the image
};

// Runs an in-place operation whose result has `format` and width x height pixels (a changed
// Bayer pattern, rotated sides), as many bytes as the image holds now. `kernel(const Image&
// source, Image& target)` writes the result. The image's memory stays its own, so views of it
// and a caller's buffer under it see the result.
template <class Kernel>
void process_in_place(Image& image, const PixelFormatInfo& format, std::size_t width, std::size_t height, InPlace how,
                      Kernel&& kernel) {
    image.check_reshape(format, width, height);
    if (how == InPlace::direct) {
        kernel(static_cast<const Image&>(image), image);
        image.reshape(format, width, height);
        return;
    }
    Image scratch(format, width, height, Fill::none);
    kernel(static_cast<const Image&>(image), scratch);
    image.take_pixels(scratch);
}

}  // namespace plox::ipl::lib
