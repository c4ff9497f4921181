#include "convert.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>
#include <type_traits>
#include <vector>

#include "../core/error.h"
#include "../core/strip_runner.h"
#include "../core/thread_pool.h"
#include "../process/lookup_table.h"
#include "../process/support.h"
#include "byte_channels.h"
#include "colour.h"
#include "conversion_table.h"
#include "demosaic.h"
#include "packing.h"
#include "rows.h"

namespace plox::ipl::lib {

namespace {

struct Plan {
    const PixelFormatInfo* from;
    const PixelFormatInfo* to;
    RowKind in_kind;
    RowKind out_kind;
    unsigned in_depth;
    unsigned out_depth;
    // Colour work happens at the smaller depth: narrowing first keeps the arithmetic cheap and
    // makes widening followed by narrowing the identity.
    unsigned work_depth;
    bool demosaic;
    DemosaicMethod method;
    std::size_t alignment;  // strip boundaries keep packed output bytes within one strip
};

DemosaicMethod method_of(std::int32_t mode) {
    return mode == PLOX_IPL_CONVERSION_MODE_HIGH_QUALITY ? DemosaicMethod::directional : DemosaicMethod::bilinear;
}

// Each strip of the directional method recomputes its 2 x 6 halo rows through the whole pipeline:
// two strips per thread keep that small and still even out the threads.
std::size_t strips_per_thread(const Plan& plan) {
    return plan.demosaic && plan.method == DemosaicMethod::directional ? 2 : 4;
}

std::size_t rows_sharing_bytes(const PixelFormatInfo& format, std::size_t width) {
    if (format.family == Family::yuv420) return 2;
    const std::size_t group = format.group_pixels;
    return group / std::gcd(group, width % group == 0 ? group : width % group);
}

Plan make_plan(const PixelFormatInfo& from, const PixelFormatInfo& to, std::size_t width, std::int32_t mode) {
    Plan plan{};
    plan.from = &from;
    plan.to = &to;
    plan.in_kind = row_kind(from);
    plan.out_kind = row_kind(to);
    plan.in_depth = row_depth(from);
    plan.out_depth = row_depth(to);
    plan.work_depth = std::min(plan.in_depth, plan.out_depth);
    plan.demosaic = from.is_bayer() && !to.is_bayer();
    plan.method = method_of(mode);
    plan.alignment = std::lcm(rows_sharing_bytes(from, width), rows_sharing_bytes(to, width));
    return plan;
}

void shift_values(std::uint16_t* values, std::size_t count, unsigned from_depth, unsigned to_depth) {
    if (from_depth > to_depth) {
        const unsigned shift = from_depth - to_depth;
        for (std::size_t i = 0; i < count; ++i) values[i] = static_cast<std::uint16_t>(values[i] >> shift);
    } else if (to_depth > from_depth) {
        const unsigned shift = to_depth - from_depth;
        for (std::size_t i = 0; i < count; ++i) values[i] = static_cast<std::uint16_t>(values[i] << shift);
    }
}

// Grey, RGB and RGBa working rows into one another, at one depth.
void change_kind(const std::uint16_t* in, RowKind in_kind, std::uint16_t* out, RowKind out_kind, std::size_t width) {
    const std::size_t in_ch = channels_of(in_kind);
    const std::size_t out_ch = channels_of(out_kind);
    if (out_kind == RowKind::gray) {
        if (in_kind == RowKind::gray) {
            std::memcpy(out, in, width * 2);
            return;
        }
        for (std::size_t x = 0; x < width; ++x, in += in_ch)
            out[x] = static_cast<std::uint16_t>(luma(in[0], in[1], in[2]));
        return;
    }
    for (std::size_t x = 0; x < width; ++x, in += in_ch, out += out_ch) {
        if (in_kind == RowKind::gray) {
            out[0] = out[1] = out[2] = in[0];
        } else {
            out[0] = in[0], out[1] = in[1], out[2] = in[2];
        }
        if (in_ch == 4 && out_ch == 4) out[3] = in[3];
    }
}

void fill_alpha(std::uint16_t* row, std::size_t width, unsigned depth) {
    const auto max = static_cast<std::uint16_t>((1u << depth) - 1);
    for (std::size_t x = 0; x < width; ++x) row[4 * x + 3] = max;
}

// One strip of the generic chain: decode, narrow, demosaic or change kind, widen, encode.
class StripConverter {
public:
    StripConverter(const Plan& plan, const Image& source, Image& target)
        : plan_(plan), source_(source), target_(target), width_(source.width()) {
        decoded_.resize(width_ * 4);
        work_.resize(width_ * 4);
        previous_.resize(width_ * 4);
    }

    void run(std::size_t first, std::size_t end) {
        if (plan_.demosaic) {
            demosaic_band(first, end);
        } else {
            for (std::size_t y = first; y < end; ++y) {
                decode_row(source_, y, decoded_.data());
                shift_values(decoded_.data(), width_ * channels_of(plan_.in_kind), plan_.in_depth, plan_.work_depth);
                finish_row(decoded_.data(), plan_.in_kind, y);
            }
        }
    }

private:
    void demosaic_band(std::size_t first, std::size_t end) {
        const std::size_t rows = end - first;
        const std::size_t halo = demosaic_halo(plan_.method);
        mosaic_.resize((rows + 2 * halo) * width_);
        rgb_.resize(rows * width_ * 3);
        for (std::size_t r = 0; r < rows + 2 * halo; ++r) {
            const std::ptrdiff_t y = static_cast<std::ptrdiff_t>(first + r) - static_cast<std::ptrdiff_t>(halo);
            std::uint16_t* row = mosaic_.data() + r * width_;
            decode_row(source_, mirror_index(y, source_.height()), row);
            shift_values(row, width_, plan_.in_depth, plan_.work_depth);
        }
        const PLOX_IPL_BAYER_PATTERN pattern = shifted_bayer_pattern(plan_.from->bayer, 0, first % 2);
        demosaic<std::uint16_t>(mosaic_.data() + halo * width_, static_cast<std::ptrdiff_t>(width_), width_, rows,
                                pattern, plan_.method, (1u << plan_.work_depth) - 1, kRgbLayout,
                                rgb_.data(), static_cast<std::ptrdiff_t>(width_ * 3));
        for (std::size_t r = 0; r < rows; ++r) finish_row(rgb_.data() + r * width_ * 3, RowKind::rgb, first + r);
    }

    // From a working row at the work depth to the target row y.
    void finish_row(const std::uint16_t* row, RowKind kind, std::size_t y) {
        change_kind(row, kind, work_.data(), plan_.out_kind, width_);
        const std::size_t channels = channels_of(plan_.out_kind);
        shift_values(work_.data(), width_ * channels, plan_.work_depth, plan_.out_depth);
        if (plan_.out_kind == RowKind::rgba && kind != RowKind::rgba) fill_alpha(work_.data(), width_, plan_.out_depth);
        if (plan_.to->family != Family::yuv420) {
            encode_row(work_.data(), target_, y);
        } else if (y % 2 == 0) {
            previous_.swap(work_);  // the chroma of a row pair needs both rows
        } else {
            encode_yuv420_rows(previous_.data(), work_.data(), target_, y - 1);
        }
    }

    const Plan& plan_;
    const Image& source_;
    Image& target_;
    std::size_t width_;
    std::vector<std::uint16_t> decoded_, work_, previous_, mosaic_, rgb_;
};

// Bayer data to 8-bit RGB-family output in one pass: narrow straight to bytes, demosaic into the
// target rows. Gives the bytes of the generic chain.
bool is_fast_bayer_pair(const Plan& plan) {
    const PixelFormatInfo& to = *plan.to;
    return plan.demosaic && to.is_colour && to.packing == Packing::none && to.storage_bits == 8;
}

void narrow_row_to_bytes(const Image& source, std::size_t y, std::uint8_t* out) {
    const PixelFormatInfo& f = source.format();
    const std::size_t width = source.width();
    if (f.packing != Packing::none) return unpack_values_to_8(f, source.data(), y * width, width, out);
    const std::uint8_t* row = source.row(y);
    if (f.storage_bits == 8) {
        std::memcpy(out, row, width);
        return;
    }
    const auto* words = reinterpret_cast<const std::uint16_t*>(row);
    const unsigned shift = f.significant_bits - 8;
    for (std::size_t x = 0; x < width; ++x) out[x] = static_cast<std::uint8_t>(words[x] >> shift);
}

// Target rows [first, end) from mosaic rows readable demosaic_halo() rows beyond them.
void fast_bayer_rows(const Plan& plan, const std::uint8_t* mosaic, Image& target, std::size_t first,
                     std::size_t end) {
    const std::size_t width = target.width();
    demosaic<std::uint8_t>(mosaic, static_cast<std::ptrdiff_t>(width), width, end - first,
                           shifted_bayer_pattern(plan.from->bayer, 0, first % 2), plan.method, 255, plan.to->layout,
                           target.row(first), static_cast<std::ptrdiff_t>(target.row_stride()));
}

void fast_bayer_band(const Plan& plan, const Image& source, Image& target, std::size_t first, std::size_t end) {
    const std::size_t width = source.width();
    const std::size_t height = source.height();
    const std::size_t halo = demosaic_halo(plan.method);
    const auto copied = [&](std::size_t from, std::size_t to) {
        std::vector<std::uint8_t> band((to - from + 2 * halo) * width);
        for (std::size_t r = 0; r < to - from + 2 * halo; ++r) {
            const std::ptrdiff_t y = static_cast<std::ptrdiff_t>(from + r) - static_cast<std::ptrdiff_t>(halo);
            narrow_row_to_bytes(source, mirror_index(y, height), band.data() + r * width);
        }
        fast_bayer_rows(plan, band.data() + halo * width, target, from, to);
    };
    if (source.format().storage_bits != 8 || source.format().packing != Packing::none) return copied(first, end);
    // Rows whose halo lies inside the image read it in place. Only the rows near the top and bottom
    // need mirrored copies: demosaicing them apart costs less than copying the whole strip.
    const std::size_t inside_first = std::clamp(halo, first, end);
    const std::size_t inside_end = std::clamp(height > halo ? height - halo : 0, inside_first, end);
    if (first < inside_first) copied(first, inside_first);
    if (inside_first < inside_end)
        fast_bayer_rows(plan, source.data() + inside_first * width, target, inside_first, inside_end);
    if (inside_end < end) copied(inside_end, end);
}

// Between unpacked 8-bit grey and colour formats (not to grey, which needs luma): one pass of
// byte shuffles.
bool is_byte_channel_pair(const PixelFormatInfo& from, const PixelFormatInfo& to) {
    const auto is_plain8 = [](const PixelFormatInfo& f) {
        return f.packing == Packing::none && f.storage_bits == 8 && (f.family == Family::mono || f.is_colour);
    };
    return is_plain8(from) && is_plain8(to) && to.is_colour;
}

// Any one-channel source to Mono8: each value narrowed straight to a byte.
bool is_fast_mono8_pair(const Plan& plan) {
    return plan.in_kind == RowKind::gray && !plan.demosaic && !plan.from->is_float &&
           plan.to->code == PLOX_IPL_PIXEL_FORMAT_Mono8;
}

// Beyond the float range a double becomes an infinity of its sign (a plain cast is undefined).
float to_float_saturated(double value) {
    constexpr double kMax = std::numeric_limits<float>::max();
    if (value > kMax) return std::numeric_limits<float>::infinity();
    if (value < -kMax) return -std::numeric_limits<float>::infinity();
    return static_cast<float>(value);
}

// A depth value as a sample of an integer format: distances keep their unit, rounded (half to
// even) and saturated. A sensor marks "no measurement" with NaN, which becomes 0.
template <class Out>
Out depth_sample(float value, double max) {
    if constexpr (std::is_same_v<Out, float>) {
        return value;
    } else {
        return static_cast<Out>(std::isnan(value) ? 0.0
                                                  : std::clamp(std::nearbyint(static_cast<double>(value)), 0.0, max));
    }
}

// Float depth maps (one value, or the C of A, B, C) to one-channel images.
void convert_floats(const Image& source, Image& target) {
    const std::size_t channels = source.format().channels;  // ABC32f: C is the last value
    const double max = target.format().max_value();
    with_sample_type(target.format(), [&](auto tag) {
        using Out = typename decltype(tag)::type;
        run_strips<float, Out>(source, target, {}, [&](const Strip<float, Out>& strip) {
            for (std::size_t y = strip.first(); y < strip.end(); ++y) {
                const float* in = strip.source(static_cast<std::ptrdiff_t>(y)) + channels - 1;
                Out* out = strip.target(y);
                for (std::size_t x = 0; x < strip.width(); ++x) out[x] = depth_sample<Out>(in[x * channels], max);
            }
        });
    });
}

void integers_to_float(const Image& source, Image& target) {
    with_sample_type(source.format(), [&](auto tag) {
        using In = typename decltype(tag)::type;
        run_strips<In, float>(source, target, {}, [](const Strip<In, float>& strip) {
            for (std::size_t y = strip.first(); y < strip.end(); ++y) {
                const In* in = strip.source(static_cast<std::ptrdiff_t>(y));
                float* out = strip.target(y);
                for (std::size_t x = 0; x < strip.width(); ++x) out[x] = static_cast<float>(in[x]);
            }
        });
    });
}

}  // namespace

void check_conversion(const PixelFormatInfo& from, const PixelFormatInfo& to, std::size_t width, std::size_t height,
                      std::int32_t mode) {
    if (mode < PLOX_IPL_CONVERSION_MODE_FAST || mode > PLOX_IPL_CONVERSION_MODE_CLASSIC)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "conversion mode ", mode, " is unknown");
    if (!conversion_supported(from, to))
        fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, "conversion from ", from.name, " to ", to.name,
             " is not supported");
    for (const PixelFormatInfo* f : {&from, &to}) {
        if (f == &from && f == &to) break;  // a copy needs no chroma pairs
        if (f->family == Family::yuv422 && width % 2 != 0)
            fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "width ", width, " must be even for ", f->name);
        if (f->family == Family::yuv420 && (width % 2 != 0 || height % 2 != 0))
            fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "size ", width, "x", height, " must be even in both sides for ",
                 f->name);
    }
}

void convert_into(const Image& source, Image& target, std::int32_t mode) {
    const PixelFormatInfo& from = source.format();
    const PixelFormatInfo& to = target.format();
    check_conversion(from, to, source.width(), source.height(), mode);
    target.set_timestamp(source.timestamp());
    if (&from == &to) {
        std::memcpy(target.data(), source.data(), source.byte_count());
        return;
    }
    if (from.is_float || to.is_float) {
        if (from.is_float) {
            convert_floats(source, target);
        } else {
            integers_to_float(source, target);
        }
        return;
    }
    if (to.is_packed()) {
        // No row writes the bits past the last value of a final partial group: make them zero.
        const std::size_t pixels = target.width() * target.height();
        const auto whole = static_cast<std::size_t>(to.storage_size(pixels - pixels % to.group_pixels));
        std::memset(target.data() + whole, 0, target.byte_count() - whole);
    }
    const Plan plan = make_plan(from, to, source.width(), mode);
    if (is_fast_bayer_pair(plan)) {
        for_each_strip(
            source.height(), source.width(), plan.alignment,
            [&](std::size_t first, std::size_t end) { fast_bayer_band(plan, source, target, first, end); },
            strips_per_thread(plan));
        return;
    }
    if (is_byte_channel_pair(from, to)) {
        run_strips<std::uint8_t, std::uint8_t>(source, target, {}, [&](const Strip<std::uint8_t, std::uint8_t>& strip) {
            // Rows are contiguous in both images: one run per strip.
            map_byte_channels(strip.source(static_cast<std::ptrdiff_t>(strip.first())), from, strip.target(strip.first()),
                              to, (strip.end() - strip.first()) * strip.width());
        });
        return;
    }
    if (is_fast_mono8_pair(plan)) {
        // Rows are contiguous in both images: one run per strip.
        const std::size_t width = source.width();
        for_each_strip(source.height(), width, plan.alignment, [&](std::size_t first, std::size_t end) {
            unpack_values_to_8(from, source.data(), first * width, (end - first) * width, target.data() + first * width);
        });
        return;
    }
    for_each_strip(
        source.height(), source.width(), plan.alignment,
        [&](std::size_t first, std::size_t end) { StripConverter(plan, source, target).run(first, end); },
        strips_per_thread(plan));
}

const Support kFactorSupport{"a factor", [](const PixelFormatInfo& f) { return !f.is_packed() && !f.is_yuv(); }};

void apply_factor(Image& image, double factor) {
    if (!std::isfinite(factor) || factor < 0)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "factor ", factor, " must be finite and not negative");
    const PixelFormatInfo& format = image.format();
    kFactorSupport.require(format);
    if (!format.is_float) {
        const double max = format.max_value();
        const LookupTable table(format.significant_bits, [factor, max](std::uint32_t value) {
            return static_cast<std::uint32_t>(std::min(std::nearbyint(value * factor), max));
        });
        // Alpha is opacity, not brightness: it keeps its value.
        apply_lookup_tables(image, image, channel_tables(format, table));
        return;
    }
    const std::size_t channels = format.channels;
    run_strips<float, float>(image, image, {}, [factor, channels](const Strip<float, float>& strip) {
        for (std::size_t y = strip.first(); y < strip.end(); ++y) {
            float* values = strip.target(y);
            for (std::size_t i = 0; i < strip.width() * channels; ++i) values[i] = to_float_saturated(values[i] * factor);
        }
    });
}

}  // namespace plox::ipl::lib
