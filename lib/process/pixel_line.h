// The values of one row or column of an image, copied per stored channel.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "../core/image.h"

namespace plox::ipl::lib {

enum class LineOrientation : std::int32_t { horizontal = 0, vertical = 1 };

// Immutable after construction, so handles on several threads read it without a lock.
class PixelLine : public Object {
public:
    // `orientation` as the C interface gives it; INVALID_ARGUMENT for other values, OUT_OF_RANGE
    // for an offset outside the image, IMAGE_FORMAT_NOT_SUPPORTED for packed and YUV formats.
    PixelLine(const Image& image, std::int32_t orientation, std::size_t offset);

    const PixelFormatInfo& format() const noexcept { return *format_; }
    LineOrientation orientation() const noexcept { return orientation_; }
    std::size_t offset() const noexcept { return offset_; }
    std::size_t channel_count() const noexcept { return channels_.size(); }
    // OUT_OF_RANGE names a channel the line does not have.
    const std::vector<std::uint32_t>& values(std::size_t channel) const;

private:
    const PixelFormatInfo* format_;
    LineOrientation orientation_;
    std::size_t offset_;
    std::vector<std::vector<std::uint32_t>> channels_;
};

}  // namespace plox::ipl::lib
