#include "sharpness.h"

#include <array>
#include <limits>
#include <type_traits>
#include <utility>
#include <vector>

#include "../core/error.h"
#include "../core/strip_runner.h"
#include "../core/thread_pool.h"
#include "sharpness_rows.h"
#include "support.h"

namespace plox::ipl::lib {

namespace {

using sharpness::RowSums;

constexpr Support kSupport{"a sharpness measure", [](const PixelFormatInfo& f) {
                               const bool family = f.family == Family::mono || f.is_bayer() || f.is_colour;
                               return family && !f.is_packed() && !f.is_float && f.significant_bits >= 8 &&
                                      f.significant_bits <= 16;
                           }};

// What a region is measured on: the samples themselves, the BT.601 luma of colour pixels, or the
// green plane of a mosaic (green sites as they are, red and blue sites completed with the mean of
// their four green neighbours), so that the colour filter pattern itself is never taken for detail.
enum class Plane { samples, luma, green };

Plane plane_of(const PixelFormatInfo& format) {
    if (format.is_bayer()) return Plane::green;
    return format.is_colour ? Plane::luma : Plane::samples;
}

template <class T>
void luma_row(const Image& image, std::size_t y, float* out) {
    const PixelFormatInfo& format = image.format();
    const T* row = image.row<const T>(y);
    const std::size_t channels = format.channels;
    const ChannelLayout layout = format.layout;
    for (std::size_t x = 0; x < image.width(); ++x) {
        const T* pixel = row + x * channels;
        out[x] = 0.299f * float(pixel[layout.red]) + 0.587f * float(pixel[layout.green]) +
                 0.114f * float(pixel[layout.blue]);
    }
}

template <class T>
void green_row(const Image& image, std::size_t y, float* out) {
    const std::size_t width = image.width(), height = image.height();
    const auto at = [&](std::ptrdiff_t row) { return image.row<const T>(mirror_index(row, height)); };
    const T* up = at(std::ptrdiff_t(y) - 1);
    const T* mid = at(std::ptrdiff_t(y));
    const T* down = at(std::ptrdiff_t(y) + 1);
    const std::size_t green_parity = bayer_colour(image.format().bayer, 0, y) == Colour::green ? 0 : 1;
    for (std::size_t x = 0; x < width; ++x) {
        if ((x & 1) == green_parity) {
            out[x] = float(mid[x]);
        } else {
            // Mirroring keeps parity, so every one of the four neighbours is a green site.
            const float left = float(mid[mirror_index(std::ptrdiff_t(x) - 1, width)]);
            const float right = float(mid[mirror_index(std::ptrdiff_t(x) + 1, width)]);
            out[x] = 0.25f * (float(up[x]) + float(down[x]) + left + right);
        }
    }
}

// Three plane rows at a time for one strip; consecutive sampled rows share two of them.
class PlaneRows {
public:
    explicit PlaneRows(std::size_t width) {
        for (auto& row : rows_) row.resize(width);
    }

    template <class Build>
    std::array<const float*, 3> get(const std::array<std::size_t, 3>& wanted, Build&& build) {
        std::array<const float*, 3> found{};
        for (std::size_t k = 0; k < 3; ++k) {
            for (std::size_t slot = 0; slot < 3; ++slot)
                if (held_[slot] == wanted[k]) found[k] = rows_[slot].data();
        }
        for (std::size_t k = 0; k < 3; ++k) {
            if (found[k] != nullptr) continue;
            std::size_t slot = 0;
            while (held_[slot] == wanted[0] || held_[slot] == wanted[1] || held_[slot] == wanted[2]) ++slot;
            build(wanted[k], rows_[slot].data());
            held_[slot] = wanted[k];
            // A mirrored row may be wanted twice (row -1 and row 1 are the same).
            for (std::size_t j = k; j < 3; ++j)
                if (wanted[j] == wanted[k]) found[j] = rows_[slot].data();
        }
        return found;
    }

private:
    static constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();
    std::array<std::vector<float>, 3> rows_;
    std::array<std::size_t, 3> held_{kNone, kNone, kNone};
};

struct RegionSums {
    double first = 0;
    double second = 0;
    double samples = 0;
};

std::size_t steps(std::size_t length, std::size_t interval) { return (length + interval - 1) / interval; }

template <class Op, class T>
RegionSums sum_region(const Image& image, const SharpnessRegion& region) {
    const std::size_t width = image.width(), height = image.height();
    const std::size_t rows = steps(region.height, region.y_interval);
    const std::size_t columns = steps(region.width, region.x_interval);
    const Plane plane = plane_of(image.format());
    const auto neighbours = [&](std::size_t j) {
        const auto y = std::ptrdiff_t(region.y + j * region.y_interval);
        return std::array<std::size_t, 3>{mirror_index(y - 1, height), std::size_t(y), mirror_index(y + 1, height)};
    };

    // One slot per sampled row, summed in row order below: the total is the same for any split.
    std::vector<RowSums> per_row(rows);
    const std::size_t work_width = plane == Plane::samples ? columns : width;
    for_each_strip(rows, work_width, 1, [&](std::size_t first, std::size_t end) {
        if (plane == Plane::samples) {
            for (std::size_t j = first; j < end; ++j) {
                const auto at = neighbours(j);
                per_row[j] = sharpness::sum_row<Op>(image.row<const T>(at[0]), image.row<const T>(at[1]),
                                                    image.row<const T>(at[2]), width, region.x, region.x_interval,
                                                    columns);
            }
            return;
        }
        PlaneRows cache(width);
        const auto build = [&](std::size_t y, float* out) {
            if (plane == Plane::luma) {
                luma_row<T>(image, y, out);
            } else {
                green_row<T>(image, y, out);
            }
        };
        for (std::size_t j = first; j < end; ++j) {
            const auto at = cache.get(neighbours(j), build);
            per_row[j] = sharpness::sum_row<Op>(at[0], at[1], at[2], width, region.x, region.x_interval, columns);
        }
    });

    RegionSums sums;
    for (const RowSums& row : per_row) {
        sums.first += row.first;
        sums.second += row.second;
    }
    sums.samples = double(rows) * double(columns);
    return sums;
}

template <class Op>
RegionSums sum_region(const Image& image, const SharpnessRegion& region) {
    return with_sample_type(image.format(), [&](auto tag) {
        using T = typename decltype(tag)::type;
        if constexpr (std::is_same_v<T, float>) {
            fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, "a sharpness measure cannot be applied to ",
                 image.format().name);
            return RegionSums{};
        } else {
            return sum_region<Op, T>(image, region);
        }
    });
}

// The region's value in 8-bit grey units: every algorithm is of degree 1 or 2 in the values, so
// scaling the result is scaling the image.
double region_value(std::int32_t algorithm, const Image& image, const SharpnessRegion& region) {
    const double scale = 255.0 / double(image.format().max_value());
    switch (algorithm) {
        case Sharpness::tenengrad: {
            const RegionSums s = sum_region<sharpness::Tenengrad>(image, region);
            return s.first / s.samples * scale * scale;
        }
        case Sharpness::sobel: {
            const RegionSums s = sum_region<sharpness::Sobel>(image, region);
            return s.first / s.samples * scale;
        }
        case Sharpness::mean_score: {
            const RegionSums s = sum_region<sharpness::MeanScore>(image, region);
            return s.first / (8.0 * s.samples) * scale;
        }
        default: {
            const RegionSums s = sum_region<sharpness::HistogramVariance>(image, region);
            const double mean = s.first / s.samples;
            const double variance = s.second / s.samples - mean * mean;
            return (variance > 0 ? variance : 0.0) * scale * scale;
        }
    }
}

}  // namespace

bool Sharpness::supports(const PixelFormatInfo& format) noexcept { return kSupport(format); }

void Sharpness::set_algorithm(std::int32_t algorithm) {
    if (algorithm < tenengrad || algorithm > sobel)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "sharpness algorithm ", algorithm,
             " is not 0 (Tenengrad), 1 (MeanScore), 2 (HistogramVariance) or 3 (Sobel)");
    settings_.update([&](Values& values) { values.algorithm = algorithm; });
}

void Sharpness::set_regions(std::vector<SharpnessRegion> regions) {
    for (std::size_t index = 0; index < regions.size(); ++index) {
        const SharpnessRegion& r = regions[index];
        if (r.width < kMinRegionSide || r.height < kMinRegionSide)
            fail(PLOX_IPL_RETURN_CODE_OUT_OF_RANGE, "region ", index, " of ", r.width, "x", r.height,
                 " pixels is smaller than the minimum of ", kMinRegionSide, "x", kMinRegionSide);
        if (r.x_interval == 0 || r.y_interval == 0)
            fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "region ", index, " has sampling intervals ",
                 unsigned(r.x_interval), " and ", unsigned(r.y_interval), "; intervals start at 1");
        if (r.weight != 33 && r.weight != 66 && r.weight != 99)
            fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "region ", index, " has weight ", unsigned(r.weight),
                 "; weights are 33, 66 or 99");
    }
    settings_.update([&](Values& values) { values.regions = std::move(regions); });
}

double Sharpness::measure(const Image& image) const {
    kSupport.require(image.format());
    const Values values = settings_.get();
    const std::size_t width = image.width(), height = image.height();
    std::vector<SharpnessRegion> regions = values.regions;
    if (regions.empty()) {
        if (width < kMinRegionSide || height < kMinRegionSide)
            fail(PLOX_IPL_RETURN_CODE_OUT_OF_RANGE, "the ", width, "x", height,
                 " image is smaller than the minimum region of ", kMinRegionSide, "x", kMinRegionSide, " pixels");
        regions.push_back(SharpnessRegion{0, 0, width, height, 1, 1, 66});
    }
    for (std::size_t index = 0; index < regions.size(); ++index) {
        const SharpnessRegion& r = regions[index];
        if (r.x > width || r.width > width - r.x || r.y > height || r.height > height - r.y)
            fail(PLOX_IPL_RETURN_CODE_OUT_OF_RANGE, "region ", index, " at (", r.x, ", ", r.y, ") of ", r.width, "x",
                 r.height, " pixels lies outside the ", width, "x", height, " image");
    }
    double weighted = 0, weights = 0;
    for (const SharpnessRegion& region : regions) {
        weighted += region.weight * region_value(values.algorithm, image, region);
        weights += region.weight;
    }
    return weighted / weights;
}

}  // namespace plox::ipl::lib
