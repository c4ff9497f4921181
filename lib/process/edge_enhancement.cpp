#include "edge_enhancement.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <mutex>
#include <type_traits>
#include <utility>
#include <vector>

#include "../core/error.h"
#include "../core/settings.h"
#include "../core/strip_runner.h"
#include "edge_rows.h"
#include "output.h"

namespace plox::ipl::lib {

namespace {

bool enhanceable(const PixelFormatInfo& format) {
    const bool mono = format.family == Family::mono;
    // Colour channels first, alpha (if any) last: what the row kernels take.
    const ChannelLayout& l = format.layout;
    const bool colour = format.is_colour && l.red >= 0 && l.red < 3 && l.green >= 0 && l.green < 3 && l.blue >= 0 &&
                        l.blue < 3 && (!l.has_alpha() || l.alpha == 3);
    return (mono || colour) && !format.is_packed() && !format.is_float;
}

EdgeShape shape_of(const PixelFormatInfo& format, std::uint32_t factor) {
    EdgeShape s{format.channels, {0, 0, 0}, static_cast<std::uint16_t>(format.max_value()),
                static_cast<std::int32_t>(format.max_value()), static_cast<std::int32_t>(factor)};
    if (format.family == Family::mono) return s;
    s.weight[format.layout.red] = 19595;
    s.weight[format.layout.green] = 38470;
    s.weight[format.layout.blue] = 7471;
    return s;
}

// 8-bit values, their column sums and details fit in 16 bits; wider ones take 32.
template <class T>
using Value = std::conditional_t<sizeof(T) == 1, std::int16_t, std::int32_t>;

template <class T>
void values_row(const T* in, std::size_t width, const EdgeShape& s, bool simd, const Value<T>* above,
                const Value<T>* centre, Value<T>* values, Value<T>* sums) {
    const std::size_t done = simd ? edge_values_row_simd(in, width, s, above, centre, values, sums) : 0;
    edge_values_row(in, done, width, s, above, centre, values, sums);
}

template <class T>
void apply_row(const T* in, std::size_t width, const EdgeShape& s, bool simd, const Value<T>* centre,
               const Value<T>* sums, T* out) {
    const std::size_t done = simd ? edge_apply_row_simd(in, width, s, centre, sums, out) : 0;
    edge_apply_row(in, done, width, s, centre, sums, out);
}

// In place, rows that another strip reads (a strip's first and last) and the row mirrored
// below the image's last are written to the side and copied in once every strip is done.
template <class T>
class HeldRows {
public:
    HeldRows(const Image& image, std::size_t samples) : image_(image), samples_(samples) {}
    HeldRows(const HeldRows&) = delete;
    HeldRows& operator=(const HeldRows&) = delete;

    bool holds(std::size_t y, std::size_t first, std::size_t end) const noexcept {
        return y == first || y + 1 == end || y + 2 == image_.height();
    }

    T* hold(std::size_t y) {
        std::lock_guard lock(mutex_);
        rows_.emplace_back(y, std::vector<T>(samples_));
        return rows_.back().second.data();
    }

    void release() const {
        for (const auto& [y, row] : rows_) std::memcpy(image_.row<T>(y), row.data(), samples_ * sizeof(T));
    }

private:
    const Image& image_;
    std::size_t samples_;
    std::mutex mutex_;
    std::deque<std::pair<std::size_t, std::vector<T>>> rows_;  // a deque keeps earlier rows in place
};

// Each row's values are computed once, with the column sums of the row above them, so a row's
// data is touched twice while it is in cache.
template <class T>
void enhance_strip(const Strip<T, T>& strip, const EdgeShape& s, bool simd, HeldRows<T>* held) {
    const std::size_t width = strip.width();
    std::vector<Value<T>> lines(3 * width + width + 2);
    Value<T>* rows[3] = {lines.data(), lines.data() + width, lines.data() + 2 * width};
    Value<T>* sums = lines.data() + 3 * width;
    const auto first = static_cast<std::ptrdiff_t>(strip.first());
    values_row<T>(strip.source(first - 1), width, s, simd, nullptr, nullptr, rows[0], nullptr);
    values_row<T>(strip.source(first), width, s, simd, nullptr, nullptr, rows[1], nullptr);
    for (std::size_t y = strip.first(); y < strip.end(); ++y) {
        values_row<T>(strip.source(static_cast<std::ptrdiff_t>(y) + 1), width, s, simd, rows[0], rows[1], rows[2],
                      sums + 1);
        sums[0] = sums[1 + mirror_index(-1, width)];
        sums[width + 1] = sums[1 + mirror_index(static_cast<std::ptrdiff_t>(width), width)];
        T* out = held && held->holds(y, strip.first(), strip.end()) ? held->hold(y) : strip.target(y);
        apply_row<T>(strip.source(static_cast<std::ptrdiff_t>(y)), width, s, simd, rows[1], sums, out);
        std::rotate(rows, rows + 1, rows + 3);
    }
}

template <class T>
void enhance_rows(const Image& source, const Image& target, const EdgeShape& s) {
    const bool simd = Settings::instance().simd_enabled();
    if (source.data() != target.data()) {
        run_strips<T, T>(source, target, StripPlan{1, 1},
                         [&](const Strip<T, T>& strip) { enhance_strip<T>(strip, s, simd, nullptr); });
        return;
    }
    // No strip overwrites a row that another reads: those are held until the end.
    HeldRows<T> held(target, target.width() * s.channels);
    run_strips<T, T>(source, target, StripPlan{1, 0},
                     [&](const Strip<T, T>& strip) { enhance_strip<T>(strip, s, simd, &held); });
    held.release();
}

void enhance(const Image& source, const Image& target, std::uint32_t factor) {
    const EdgeShape s = shape_of(source.format(), factor);
    if (source.format().storage_bits == 8) enhance_rows<std::uint8_t>(source, target, s);
    else enhance_rows<std::uint16_t>(source, target, s);
}

}  // namespace

const Support EdgeEnhancement::kSupport{"edge enhancement", enhanceable};

void EdgeEnhancement::set_factor(std::uint32_t factor) {
    if (factor > kMaxFactor)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "edge enhancement factor ", factor, " is outside ", kMinFactor,
             " to ", kMaxFactor);
    settings_.update([&](std::uint32_t& f) { f = factor; });
}

std::shared_ptr<Image> EdgeEnhancement::process(const Image& source) const {
    const PixelFormatInfo& format = source.format();
    kSupport.require(format);
    const std::uint32_t factor = settings_.get();
    std::shared_ptr<Image> target = Destination::fresh().make(format, source.width(), source.height());
    // Factor 0 changes nothing, not even stray high bits.
    if (factor == 0) std::memcpy(target->data(), source.data(), source.byte_count());
    else enhance(source, *target, factor);
    target->set_timestamp(source.timestamp());
    return target;
}

void EdgeEnhancement::process_in_place(Image& image) const {
    const PixelFormatInfo& format = image.format();
    kSupport.require(format);
    const std::uint32_t factor = settings_.get();
    if (factor == 0) return;
    lib::process_in_place(image, format, image.width(), image.height(), InPlace::direct,
                          [&](const Image& source, const Image& target) { enhance(source, target, factor); });
}

}  // namespace plox::ipl::lib
