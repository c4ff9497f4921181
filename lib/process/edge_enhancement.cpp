#include "edge_enhancement.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "../core/error.h"
#include "../core/strip_runner.h"
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

// What a row kernel needs of the format: luma weights (16-bit fixed point, BT.601) per stored
// channel and the significant bits. Colour channels are 0 to 2, alpha is 3.
struct Shape {
    unsigned channels;
    std::int32_t weight[3];
    std::int32_t max;
};

Shape shape_of(const PixelFormatInfo& format) {
    Shape s{format.channels, {0, 0, 0}, static_cast<std::int32_t>(format.max_value())};
    if (format.family == Family::mono) return s;
    s.weight[format.layout.red] = 19595;
    s.weight[format.layout.green] = 38470;
    s.weight[format.layout.blue] = 7471;
    return s;
}

// The values (grey or luma) of one row, with one mirrored column at each end.
template <unsigned kChannels, class T>
void luma_row(const T* in, const Shape& s, std::size_t width, std::int32_t* out) {
    const auto mask = static_cast<std::uint32_t>(s.max);
    if constexpr (kChannels == 1) {
        for (std::size_t x = 0; x < width; ++x) out[x + 1] = static_cast<std::int32_t>(in[x] & mask);
    } else {
        const auto w0 = static_cast<std::uint32_t>(s.weight[0]);
        const auto w1 = static_cast<std::uint32_t>(s.weight[1]);
        const auto w2 = static_cast<std::uint32_t>(s.weight[2]);
        for (std::size_t x = 0; x < width; ++x) {
            const T* p = in + x * kChannels;
            const std::uint32_t sum = 32768 + w0 * (p[0] & mask) + w1 * (p[1] & mask) + w2 * (p[2] & mask);
            out[x + 1] = static_cast<std::int32_t>(sum >> 16);
        }
    }
    out[0] = out[1 + mirror_index(-1, width)];
    out[width + 1] = out[1 + mirror_index(static_cast<std::ptrdiff_t>(width), width)];
}

// Every channel but alpha (channel 3) gets the delta of its pixel.
template <unsigned kChannels, class T>
void add_deltas(const T* in, const std::int32_t* delta, const Shape& s, std::size_t width, T* out) {
    const auto mask = static_cast<std::uint32_t>(s.max);
    constexpr unsigned kSharpened = kChannels == 4 ? 3 : kChannels;
    for (std::size_t x = 0; x < width; ++x) {
        const T* p = in + x * kChannels;
        T* q = out + x * kChannels;
        for (unsigned c = 0; c < kSharpened; ++c)
            q[c] = static_cast<T>(std::clamp(static_cast<std::int32_t>(p[c] & mask) + delta[x], 0, s.max));
        if constexpr (kChannels == 4) q[3] = p[3];
    }
}

template <unsigned kChannels, class T>
void enhance_strip(const Strip<T, T>& strip, const Shape& s, std::int32_t factor) {
    const std::size_t width = strip.width();
    const std::size_t padded = width + 2;
    std::vector<std::int32_t> lines(3 * padded);
    std::vector<std::int32_t> columns(padded);
    std::vector<std::int32_t> delta(width);
    std::int32_t* rows[3] = {lines.data(), lines.data() + padded, lines.data() + 2 * padded};
    const auto first = static_cast<std::ptrdiff_t>(strip.first());
    luma_row<kChannels>(strip.source(first - 1), s, width, rows[0]);
    luma_row<kChannels>(strip.source(first), s, width, rows[1]);
    for (std::size_t y = strip.first(); y < strip.end(); ++y) {
        luma_row<kChannels>(strip.source(static_cast<std::ptrdiff_t>(y) + 1), s, width, rows[2]);
        for (std::size_t x = 0; x < padded; ++x) columns[x] = rows[0][x] + rows[1][x] + rows[2][x];
        const std::int32_t* centre = rows[1];
        for (std::size_t x = 0; x < width; ++x) {
            const std::int32_t detail = 9 * centre[x + 1] - (columns[x] + columns[x + 1] + columns[x + 2]);
            // An arithmetic shift floors, so this rounds half up for negative details too.
            delta[x] = (factor * detail + 32) >> 6;
        }
        add_deltas<kChannels>(strip.source(static_cast<std::ptrdiff_t>(y)), delta.data(), s, width, strip.target(y));
        std::rotate(rows, rows + 1, rows + 3);
    }
}

template <class T>
void enhance_rows(const Image& source, const Image& target, const Shape& s, std::int32_t factor) {
    const StripPlan plan{1, 1};
    run_strips<T, T>(source, target, plan, [&](const Strip<T, T>& strip) {
        switch (s.channels) {
            case 1: return enhance_strip<1>(strip, s, factor);
            case 3: return enhance_strip<3>(strip, s, factor);
            default: return enhance_strip<4>(strip, s, factor);
        }
    });
}

void enhance(const Image& source, const Image& target, std::uint32_t factor) {
    const Shape s = shape_of(source.format());
    const auto f = static_cast<std::int32_t>(factor);
    if (source.format().storage_bits == 8) enhance_rows<std::uint8_t>(source, target, s, f);
    else enhance_rows<std::uint16_t>(source, target, s, f);
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
    // Each row reads its neighbours, which other strips overwrite: the result goes to scratch memory.
    lib::process_in_place(image, format, image.width(), image.height(), InPlace::scratch,
                          [&](const Image& source, const Image& target) { enhance(source, target, factor); });
}

}  // namespace plox::ipl::lib
