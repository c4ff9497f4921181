#include "hotpixel_detection.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <mutex>
#include <utility>

#include "../core/error.h"
#include "../core/strip_runner.h"
#include "../core/thread_pool.h"

namespace plox::ipl::lib {

namespace {

// Expected distance between the 4th lowest and the 4th highest of 24 samples of a normal
// distribution with standard deviation 1.
constexpr double kSpreadOfTwentyFour = 2.09;
// Threshold in units of the local noise, for levels 1 (fewest) to 5 (most).
constexpr double kLevelFactor[] = {20.0, 16.0, 12.0, 9.0, 6.0};

bool correctable(const PixelFormatInfo& format) {
    return (format.family == Family::mono || format.is_bayer()) && !format.is_packed() && !format.is_float &&
           format.significant_bits >= 8;
}

std::size_t same_colour_distance(const PixelFormatInfo& format) { return format.is_bayer() ? 2 : 1; }

// The index `step` same-colour sites away from i along a side of `size`, mirrored within the sites
// of i's colour so that a border pixel never becomes its own nearest neighbour.
std::size_t same_colour_index(std::size_t i, std::ptrdiff_t step, std::size_t distance, std::size_t size) {
    const std::size_t phase = i % distance;
    const std::size_t sites = (size - phase + distance - 1) / distance;
    return phase + distance * mirror_index(static_cast<std::ptrdiff_t>(i / distance) + step, sites);
}

// The rows around a pixel: its same-colour neighbours' rows and, for mosaics, the adjacent rows.
template <class T>
struct Rows {
    const T* up;
    const T* mid;
    const T* down;
    const T* above;
    const T* below;
};

// The first of 5 consecutive sites of one colour around site i, the window shifted inwards at the
// borders so that it lies inside the image.
std::size_t window_start(std::size_t i, std::size_t distance, std::size_t size) {
    const std::size_t phase = i % distance;
    const std::size_t sites = (size - phase + distance - 1) / distance;
    const std::size_t site = i / distance;
    return phase + distance * std::min(site > 2 ? site - 2 : 0, sites - 5);
}

// The full rule for pixel (x, y): the 8 nearest same-colour neighbours (mirrored at the borders)
// give the maximum and the median; the 24 other sites of its 5 x 5 window give the noise, so that
// one unlucky neighbourhood does not pass for a quiet one.
template <std::size_t D, class T>
bool is_hot(const Image& image, const Rows<T>& near_rows, std::size_t x, std::size_t y, T mask, double factor,
            double unit) {
    const std::size_t width = image.width();
    const std::size_t left = same_colour_index(x, -1, D, width);
    const std::size_t right = same_colour_index(x, 1, D, width);
    const auto at = [mask](const T* row, std::size_t i) { return static_cast<std::uint32_t>(row[i] & mask); };
    std::array<std::uint32_t, 8> near{at(near_rows.up, left),   at(near_rows.up, x),   at(near_rows.up, right),
                                      at(near_rows.mid, left),  at(near_rows.mid, right),
                                      at(near_rows.down, left), at(near_rows.down, x), at(near_rows.down, right)};
    const std::uint32_t value = at(near_rows.mid, x);
    std::sort(near.begin(), near.end());
    if (value <= near[7]) return false;
    if constexpr (D == 2) {
        // Light through the lens spreads over several sensor pixels: a bright spot that reaches the
        // adjacent sites of other colours is picture, not a defect.
        const std::size_t l = mirror_index(static_cast<std::ptrdiff_t>(x) - 1, width);
        const std::size_t r = mirror_index(static_cast<std::ptrdiff_t>(x) + 1, width);
        for (const T* row : {near_rows.above, near_rows.below}) {
            if (value <= at(row, l) || value <= at(row, x) || value <= at(row, r)) return false;
        }
        if (value <= at(near_rows.mid, l) || value <= at(near_rows.mid, r)) return false;
    }
    // The noise is at least one unit: most candidates fail here, before the window is read.
    const double excess = value - (near[3] + near[4]) / 2.0;
    if (excess <= factor * unit) return false;
    std::array<std::uint32_t, 24> all;
    std::size_t n = 0;
    const std::size_t x0 = window_start(x, D, width);
    const std::size_t y0 = window_start(y, D, image.height());
    for (std::size_t j = 0; j < 5; ++j) {
        const T* row = image.row<const T>(y0 + j * D);
        for (std::size_t k = 0; k < 5; ++k) {
            if (y0 + j * D != y || x0 + k * D != x) all[n++] = at(row, x0 + k * D);
        }
    }
    std::nth_element(all.begin(), all.begin() + 20, all.end());
    std::nth_element(all.begin(), all.begin() + 3, all.begin() + 20);
    const double noise = std::max((all[20] - all[3]) / kSpreadOfTwentyFour, unit);
    return excess > factor * noise;
}

// Flags the pixels of [begin, end) that stand above all neighbours (mosaics: the adjacent sites too)
// and more than `margin` above the lowest same-colour one: a cheap necessary condition, so that the
// full rule runs on few pixels.
template <std::size_t D, class T>
void flag_candidates(const Rows<T>& r, std::size_t begin, std::size_t end, T mask, T margin,
                     std::uint8_t* __restrict flags) {
    const T* __restrict up = r.up;
    const T* __restrict mid = r.mid;
    const T* __restrict down = r.down;
    for (std::size_t x = begin; x < end; ++x) {
        const T v = mid[x] & mask;
        const T a = up[x - D] & mask, b = up[x] & mask, c = up[x + D] & mask, d = mid[x - D] & mask;
        const T e = mid[x + D] & mask, f = down[x - D] & mask, g = down[x] & mask, h = down[x + D] & mask;
        T hi = std::max(std::max(std::max(a, b), std::max(c, d)), std::max(std::max(e, f), std::max(g, h)));
        const T lo = std::min(std::min(std::min(a, b), std::min(c, d)), std::min(std::min(e, f), std::min(g, h)));
        if constexpr (D == 2) {
            const T* __restrict above = r.above;
            const T* __restrict below = r.below;
            const T i = std::max(std::max(above[x - 1] & mask, above[x] & mask), above[x + 1] & mask);
            const T j = std::max(std::max(below[x - 1] & mask, below[x] & mask), below[x + 1] & mask);
            hi = std::max(hi, std::max(std::max(i, j), std::max<T>(mid[x - 1] & mask, mid[x + 1] & mask)));
        }
        flags[x - begin] = static_cast<std::uint8_t>((v > hi) & (static_cast<T>(v - lo) > margin));
    }
}

template <std::size_t D, class T>
void detect_rows(const Image& image, std::size_t first, std::size_t end, double factor,
                 std::vector<PixelPosition>& found) {
    const std::size_t width = image.width();
    const std::size_t height = image.height();
    const auto mask = static_cast<T>(image.format().max_value());
    // One grey level of 8-bit data: the least noise any image is credited with.
    const double unit = static_cast<double>(1u << (image.format().significant_bits - 8));
    const double floor_excess = std::min(factor * unit, double{std::numeric_limits<T>::max()});
    const auto margin = static_cast<T>(floor_excess);
    const std::size_t inner = width - 2 * D;
    // Whole words of flags past the inner pixels stay zero.
    std::vector<std::uint8_t> flags(inner + 8, 0);
    for (std::size_t y = first; y < end; ++y) {
        const Rows<T> rows{image.row<const T>(same_colour_index(y, -1, D, height)), image.row<const T>(y),
                           image.row<const T>(same_colour_index(y, 1, D, height)),
                           image.row<const T>(mirror_index(static_cast<std::ptrdiff_t>(y) - 1, height)),
                           image.row<const T>(mirror_index(static_cast<std::ptrdiff_t>(y) + 1, height))};
        const auto check = [&](std::size_t x) {
            if (is_hot<D>(image, rows, x, y, mask, factor, unit)) found.push_back({x, y});
        };
        for (std::size_t x = 0; x < D; ++x) check(x);
        flag_candidates<D>(rows, D, width - D, mask, margin, flags.data());
        for (std::size_t i = 0; i < inner; i += 8) {
            std::uint64_t word;
            std::memcpy(&word, flags.data() + i, 8);
            for (; word != 0; word &= word - 1) check(D + i + static_cast<std::size_t>(__builtin_ctzll(word)) / 8);
        }
        for (std::size_t x = width - D; x < width; ++x) check(x);
    }
}

template <class T>
void detect_strip(const Image& image, std::size_t first, std::size_t end, double factor,
                  std::vector<PixelPosition>& found) {
    if (image.format().is_bayer()) detect_rows<2, T>(image, first, end, factor, found);
    else detect_rows<1, T>(image, first, end, factor, found);
}

template <class T>
void correct_values(const Image& source, Image& target, const std::vector<PixelPosition>& points) {
    const std::size_t distance = same_colour_distance(source.format());
    const std::size_t width = source.width();
    const std::size_t height = source.height();
    const auto mask = static_cast<T>(source.format().max_value());
    std::vector<std::uint64_t> listed;
    listed.reserve(points.size());
    for (const PixelPosition& p : points) listed.push_back(std::uint64_t{p.y} * width + p.x);
    std::sort(listed.begin(), listed.end());
    // All values come from the source before any is written, so in place works too.
    std::vector<T> values(points.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
        const PixelPosition& p = points[i];
        const std::size_t xs[3] = {same_colour_index(p.x, -1, distance, width), p.x,
                                   same_colour_index(p.x, 1, distance, width)};
        const std::size_t ys[3] = {same_colour_index(p.y, -1, distance, height), p.y,
                                   same_colour_index(p.y, 1, distance, height)};
        std::uint64_t sum = 0, all = 0, count = 0;
        for (std::size_t j = 0; j < 3; ++j) {
            for (std::size_t k = 0; k < 3; ++k) {
                if (j == 1 && k == 1) continue;
                const std::uint64_t value = source.row<const T>(ys[j])[xs[k]] & mask;
                all += value;
                if (!std::binary_search(listed.begin(), listed.end(), std::uint64_t{ys[j]} * width + xs[k])) {
                    sum += value;
                    ++count;
                }
            }
        }
        if (count == 0) {
            sum = all;
            count = 8;
        }
        values[i] = static_cast<T>((sum + count / 2) / count);
    }
    for (std::size_t i = 0; i < points.size(); ++i) target.row<T>(points[i].y)[points[i].x] = values[i];
}

}  // namespace

const Support kHotpixelSupport{"a hot-pixel correction", correctable};

void require_hotpixel_image(const Image& image) {
    const PixelFormatInfo& format = image.format();
    if (format.is_packed())
        fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, "inputImage has a packed pixel format: ", format.name,
             " (unpack it first)");
    kHotpixelSupport.require(format);
    // Each colour needs 5 sites along each side for its noise window.
    const std::size_t side = 5 * same_colour_distance(format);
    if (image.width() < side || image.height() < side)
        fail(PLOX_IPL_RETURN_CODE_OUT_OF_RANGE, "inputImage is too small to process correctly: ", image.width(),
             "x", image.height(), " ", format.name, " needs at least ", side, "x", side);
}

double hotpixel_threshold_factor(std::int32_t level, std::uint32_t gain_percent) {
    return kLevelFactor[level - 1] * gain_percent / 100.0;
}

std::vector<PixelPosition> detect_hotpixels(const Image& image, double factor) {
    const PixelFormatInfo& format = image.format();
    // Per-strip lists merged in row order: the result does not depend on scheduling.
    std::mutex mutex;
    std::vector<std::pair<std::size_t, std::vector<PixelPosition>>> parts;
    for_each_strip(image.height(), image.width(), 1, [&](std::size_t first, std::size_t end) {
        std::vector<PixelPosition> found;
        if (format.storage_bits == 8) detect_strip<std::uint8_t>(image, first, end, factor, found);
        else detect_strip<std::uint16_t>(image, first, end, factor, found);
        std::lock_guard lock(mutex);
        parts.emplace_back(first, std::move(found));
    });
    std::sort(parts.begin(), parts.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<PixelPosition> all;
    for (auto& part : parts) all.insert(all.end(), part.second.begin(), part.second.end());
    return all;
}

void require_inside(const Image& image, const std::vector<PixelPosition>& points) {
    for (const PixelPosition& p : points) {
        if (p.x >= image.width() || p.y >= image.height())
            fail(PLOX_IPL_RETURN_CODE_OUT_OF_RANGE, "hot pixel (", p.x, ", ", p.y, ") is outside the ", image.width(),
                 "x", image.height(), " image");
    }
}

void correct_hotpixels(const Image& source, Image& target, const std::vector<PixelPosition>& points) {
    if (source.format().storage_bits == 8) correct_values<std::uint8_t>(source, target, points);
    else correct_values<std::uint16_t>(source, target, points);
}

}  // namespace plox::ipl::lib
