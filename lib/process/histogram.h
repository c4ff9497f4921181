// Per-channel histograms, counted once when the object is made: one bin per value of the
// format's significant bits, channels in the order the format stores them, Bayer mosaics as R,
// G and B (each site counted in its filter colour).
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "../core/handle_registry.h"
#include "../core/image.h"

namespace plox::ipl::lib {

struct ChannelHistogram {
    std::uint64_t pixel_sum = 0;
    std::uint64_t pixel_count = 0;
    std::vector<std::uint64_t> bins;
};

// Unpacked integer formats other than YUV: bins need a fixed range of whole values.
bool supports_histogram(const PixelFormatInfo& format) noexcept;

class Histogram : public Object {
public:
    // Throws IMAGE_FORMAT_NOT_SUPPORTED naming the format for the others.
    explicit Histogram(const Image& image);

    const PixelFormatInfo& format() const noexcept { return *format_; }
    std::size_t channel_count() const noexcept { return channels_.size(); }
    // Throws OUT_OF_RANGE naming the index.
    const ChannelHistogram& channel(std::size_t index) const;

private:
    const PixelFormatInfo* format_;
    std::vector<ChannelHistogram> channels_;
};

}  // namespace plox::ipl::lib
