#include "pixel_line.h"

#include <cmath>
#include <cstring>

#include "../core/error.h"
#include "../core/strip_runner.h"
#include "whole_pixels.h"

namespace plox::ipl::lib {

namespace {

// Integer samples keep their significant bits only.
std::uint32_t line_value(std::uint8_t sample, std::uint32_t mask) { return sample & mask; }
std::uint32_t line_value(std::uint16_t sample, std::uint32_t mask) { return sample & mask; }

// Depths keep their unit, as in conversions: rounded half to even and saturated; NaN (no
// measurement) is 0.
std::uint32_t line_value(float sample, std::uint32_t) {
    if (!(sample > 0.0f)) return 0;
    if (sample >= 4294967295.0f) return UINT32_MAX;
    return static_cast<std::uint32_t>(std::nearbyint(static_cast<double>(sample)));
}

// `count` pixels from `first`, `step` bytes apart, split into their channels.
template <class Sample>
void read_line(const std::uint8_t* first, std::ptrdiff_t step, std::size_t count, std::uint32_t mask,
               std::vector<std::vector<std::uint32_t>>& channels) {
    for (std::size_t c = 0; c < channels.size(); ++c) {
        std::vector<std::uint32_t>& values = channels[c];
        values.resize(count);
        const std::uint8_t* pixel = first + c * sizeof(Sample);
        for (std::size_t i = 0; i < count; ++i, pixel += step) {
            Sample sample;
            std::memcpy(&sample, pixel, sizeof sample);
            values[i] = line_value(sample, mask);
        }
    }
}

}  // namespace

PixelLine::PixelLine(const Image& image, std::int32_t orientation, std::size_t offset)
    : format_(&image.format()), orientation_(static_cast<LineOrientation>(orientation)), offset_(offset) {
    if (orientation_ != LineOrientation::horizontal && orientation_ != LineOrientation::vertical)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "orientation ", orientation,
             " is neither 0 (horizontal) nor 1 (vertical)");
    require_whole_pixels(*format_, "image");
    const bool row = orientation_ == LineOrientation::horizontal;
    const std::size_t lines = row ? image.height() : image.width();
    if (offset >= lines)
        fail(PLOX_IPL_RETURN_CODE_OUT_OF_RANGE, row ? "row " : "column ", offset, " is outside the ", image.width(),
             "x", image.height(), " image");
    const std::size_t pixel = pixel_bytes(*format_);
    const std::uint8_t* first = row ? image.row(offset) : image.data() + offset * pixel;
    const auto step = static_cast<std::ptrdiff_t>(row ? pixel : image.row_stride());
    const std::size_t count = row ? image.width() : image.height();
    channels_.resize(format_->channels);
    with_sample_type(*format_, [&](auto sample) {
        read_line<typename decltype(sample)::type>(first, step, count, format_->max_value(), channels_);
    });
}

const std::vector<std::uint32_t>& PixelLine::values(std::size_t channel) const {
    if (channel >= channels_.size())
        fail(PLOX_IPL_RETURN_CODE_OUT_OF_RANGE, "channel ", channel, " is not among the ", channels_.size(),
             " channels of a ", format_->name, " line");
    return channels_[channel];
}

}  // namespace plox::ipl::lib
