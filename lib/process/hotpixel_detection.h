// Hot pixels of mono and Bayer images: finding them and the values that replace them. A pixel is
// compared with its 8 same-colour neighbours (1 pixel away in mono images, 2 in Bayer mosaics),
// mirrored at the borders within its own colour's sites.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "../core/image.h"
#include "support.h"

namespace plox::ipl::lib {

struct PixelPosition {
    std::size_t x;
    std::size_t y;
};

// Unpacked integer mono and Bayer formats of 8 to 16 bits.
extern const Support kHotpixelSupport;

// Refuses packed and other unsupported formats (IMAGE_FORMAT_NOT_SUPPORTED) and images too small
// to give every colour 5 sites along each side (OUT_OF_RANGE), naming the format and size.
void require_hotpixel_image(const Image& image);

// The threshold factor of a sensitivity level (1 to 5) and gain factor in percent.
double hotpixel_threshold_factor(std::int32_t level, std::uint32_t gain_percent);

// Every pixel v that is above its 8 nearest same-colour neighbours and whose excess over their
// median exceeds `factor` times the local noise: v > max and v - median > factor * max(noise, unit).
// A mosaic pixel must also be above its 8 adjacent sites of the other colours.
// The noise comes from the 24 other same-colour sites of the 5 x 5 site window around v (shifted
// inwards at the borders): the distance between their 4th lowest and 4th highest value over 2.09
// (its mean for normal noise of standard deviation 1), at least `unit`, one grey level of 8-bit data
// at the image's depth. In row order, whatever the thread count.
std::vector<PixelPosition> detect_hotpixels(const Image& image, double factor);

// Throws OUT_OF_RANGE naming the first point outside the image.
void require_inside(const Image& image, const std::vector<PixelPosition>& points);

// Writes into `target` (which may be `source`) the replacement of each listed pixel: the mean,
// rounded half up, of its same-colour neighbours in `source` that are not listed themselves (of all
// of them when all are listed). Every other value of `target` is left alone. Points must be inside.
void correct_hotpixels(const Image& source, Image& target, const std::vector<PixelPosition>& points);

}  // namespace plox::ipl::lib
