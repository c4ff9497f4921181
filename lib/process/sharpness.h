// Sharpness: a relative focus measure over weighted regions, sampled at chosen intervals. The
// algorithm and the regions are shared by every handle to the object.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "../core/handle_registry.h"
#include "../core/image.h"
#include "shared_settings.h"

namespace plox::ipl::lib {

struct SharpnessRegion {
    std::size_t x = 0;
    std::size_t y = 0;
    std::size_t width = 0;
    std::size_t height = 0;
    std::uint8_t x_interval = 1;
    std::uint8_t y_interval = 1;
    std::uint8_t weight = 66;
};

class Sharpness : public Object {
public:
    enum Algorithm : std::int32_t { tenengrad = 0, mean_score = 1, histogram_variance = 2, sobel = 3 };

    // Below this a region holds too few neighbourhoods to tell focus from noise.
    static constexpr std::size_t kMinRegionSide = 8;

    // Unpacked mono, Bayer and RGB-family formats of 8 to 16 bits.
    static bool supports(const PixelFormatInfo& format) noexcept;

    std::int32_t algorithm() const { return settings_.get().algorithm; }
    // INVALID_ARGUMENT naming the value.
    void set_algorithm(std::int32_t algorithm);
    // An empty list measures the whole image. OUT_OF_RANGE for a region below the minimum size,
    // INVALID_ARGUMENT for a zero interval or a weight other than 33, 66 or 99; nothing changes then.
    void set_regions(std::vector<SharpnessRegion> regions);
    std::vector<SharpnessRegion> regions() const { return settings_.get().regions; }

    // The weighted mean of the regions' values, in 8-bit grey units. IMAGE_FORMAT_NOT_SUPPORTED
    // naming the format; OUT_OF_RANGE naming a region outside the image, or an image smaller than
    // the minimum region when no regions are set.
    double measure(const Image& image) const;

private:
    struct Values {
        std::int32_t algorithm = tenengrad;
        std::vector<SharpnessRegion> regions;
    };
    SharedSettings<Values> settings_;
};

}  // namespace plox::ipl::lib
