#include "lookup_table.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "../core/settings.h"
#include "../core/strip_runner.h"
#include "lookup_rows_simd.h"

namespace plox::ipl::lib {

LookupTable::LookupTable(unsigned bits, Function f) : bits_(bits), f_(std::move(f)) {
    if (bits == 0 || bits > 16) fail(PLOX_IPL_RETURN_CODE_ERROR, "no lookup table for ", bits, "-bit values");
    max_ = (std::uint32_t{1} << bits) - 1;
    values_.resize(std::size_t{max_} + 1);
    for (std::uint32_t value = 0; value <= max_; ++value) values_[value] = static_cast<std::uint16_t>(f_(value));
}

bool lookup_table_supports(const PixelFormatInfo& format) {
    return !format.is_packed() && !format.is_float && !format.is_yuv();
}

ChannelTables channel_tables(const PixelFormatInfo& format, const LookupTable& red, const LookupTable& green,
                             const LookupTable& blue) {
    const LookupTable* of_colour[3] = {&red, &green, &blue};
    ChannelTables result;
    if (format.is_bayer()) {
        result.bayer_sites = true;
        for (std::size_t site = 0; site < 4; ++site)
            result.tables[site] = of_colour[static_cast<int>(bayer_colour(format.bayer, site % 2, site / 2))];
    } else if (format.is_colour) {
        result.tables[format.layout.red] = &red;
        result.tables[format.layout.green] = &green;
        result.tables[format.layout.blue] = &blue;
    } else {
        // Grey and depth values carry no colour: the green table, as luma is mostly green.
        for (std::size_t c = 0; c < format.channels; ++c) result.tables[c] = &green;
    }
    return result;
}

ChannelTables channel_tables(const PixelFormatInfo& format, const LookupTable& all) {
    return channel_tables(format, all, all, all);
}

namespace {

// The tables as plain arrays indexed by the significant bits: the per-value bound check of
// LookupTable and a pass per channel cost more than the lookups themselves.
template <class T>
class FlatTables {
public:
    FlatTables(const PixelFormatInfo& format, const ChannelTables& tables) : mask_(format.max_value()) {
        const std::size_t count = tables.bayer_sites ? 4 : format.channels;
        for (std::size_t c = 0; c < count; ++c) {
            const LookupTable* table = tables.tables[c];
            if (table == nullptr) continue;  // copied
            std::size_t same = 0;
            while (same < c && tables.tables[same] != table) ++same;
            if (same < c) {
                of_[c] = of_[same];
            } else if (sizeof(T) == 2 && table->max_value() == mask_) {
                of_[c] = reinterpret_cast<const T*>(table->values());
            } else {
                own_[c].resize(std::size_t{mask_} + 1);
                for (std::uint32_t v = 0; v <= mask_; ++v) own_[c][v] = static_cast<T>((*table)(v));
                of_[c] = own_[c].data();
            }
        }
    }

    std::array<const T*, 4> of() const noexcept { return of_; }
    std::uint32_t mask() const noexcept { return mask_; }

private:
    std::uint32_t mask_;
    std::array<const T*, 4> of_{};  // null: the channel is copied
    std::array<std::vector<T>, 4> own_;
};

// Tables and mask come by value: stores through a byte pointer may alias anything the compiler
// cannot see as local, and would reload them for every sample.
template <class T, std::size_t Channels>
void map_pixels(const T* in, T* out, std::size_t width, const std::array<const T*, 4> t, const std::uint32_t mask) {
    for (std::size_t x = 0; x < width; ++x) {
        for (std::size_t c = 0; c < Channels; ++c) {
            const T value = in[x * Channels + c];
            out[x * Channels + c] = t[c] != nullptr ? t[c][value & mask] : value;
        }
    }
}

// A run of samples whose even positions take one table and odd positions the other (a row of a
// mosaic, or any row with one table for all). Eight loads, then eight stores: stores through a
// byte pointer would otherwise order every load after the store before it.
template <class T>
void map_run(const T* in, T* out, std::size_t n, const T* const even, const T* const odd, const std::uint32_t mask) {
    std::size_t x = 0;
    for (; x + 8 <= n; x += 8) {
        T v[8];
        for (std::size_t k = 0; k < 8; k += 2) {
            v[k] = even[in[x + k] & mask];
            v[k + 1] = odd[in[x + k + 1] & mask];
        }
        std::memcpy(out + x, v, sizeof v);
    }
    for (; x < n; ++x) out[x] = (x % 2 == 0 ? even : odd)[in[x] & mask];
}

// Samples [first, n) of a run whose sample i takes the table of class i % period.
template <class T>
void map_classes(const T* in, T* out, std::size_t first, std::size_t n, const std::array<const T*, 4> t,
                 std::size_t period, const std::uint32_t mask) {
    for (std::size_t i = first; i < n; ++i) {
        const T* table = t[i % period];
        out[i] = table != nullptr ? table[in[i] & mask] : in[i];
    }
}

// A row holding values beyond the depth, each through its table's function.
template <class T>
void compute_row(const T* in, T* out, std::size_t n, const ChannelTables& tables, std::size_t period,
                 std::size_t site_offset) {
    for (std::size_t i = 0; i < n; ++i) {
        const LookupTable* table = tables.tables[site_offset + i % period];
        out[i] = table != nullptr ? static_cast<T>((*table)(in[i])) : in[i];
    }
}

template <class T>
bool has_stray_bits(const T* in, std::size_t n, std::uint32_t mask) {
    std::uint32_t any = 0;
    for (std::size_t i = 0; i < n; ++i) any |= in[i];
    return (any & ~mask) != 0;
}

template <class T>
void map_rows(const Image& source, const Image& target, const ChannelTables& tables, StrayBits stray) {
    const FlatTables<T> flat(source.format(), tables);
    const std::size_t channels = source.format().channels;
    const std::uint32_t mask = flat.mask();
    const std::array<const T*, 4> t = flat.of();
    const bool uniform = !tables.bayer_sites && std::all_of(t.begin(), t.begin() + channels,
                                                            [&](const T* table) { return table == t[0]; });
    const std::size_t period = tables.bayer_sites ? 2 : uniform ? 1 : channels;
    const bool may_stray = stray == StrayBits::computed && mask < std::numeric_limits<T>::max();
    // Byte tables go to the vector path, a plan per Bayer row parity.
    std::array<ByteLookupPlan, 2> plans{};
    const bool simd = sizeof(T) == 1 && Settings::instance().simd_enabled() && period <= 4;
    if constexpr (sizeof(T) == 1) {
        for (std::size_t parity = 0; parity < 2; ++parity) {
            const std::size_t first = tables.bayer_sites ? 2 * parity : 0;
            plans[parity] = byte_lookup_plan(t.data() + first, static_cast<unsigned>(period));
        }
    }
    run_strips<T, T>(source, target, {}, [&](const Strip<T, T>& strip) {
        const std::size_t width = strip.width();
        const std::size_t n = width * channels;
        for (std::size_t y = strip.first(); y < strip.end(); ++y) {
            const T* in = strip.source(static_cast<std::ptrdiff_t>(y));
            T* out = strip.target(y);
            const std::size_t site = tables.bayer_sites ? (y % 2) * 2 : 0;
            if (may_stray && has_stray_bits(in, n, mask)) {
                compute_row(in, out, n, tables, tables.bayer_sites ? 2 : channels, site);
                continue;
            }
            std::size_t done = 0;
            if constexpr (sizeof(T) == 1) {
                if (simd) done = map_bytes_simd(in, out, n, plans[y % 2]);
            }
            if (done != 0) {
                const std::array<const T*, 4> row{t[site], t[site + 1], t[2], t[3]};
                map_classes(in, out, done, n, row, period, mask);
            } else if (tables.bayer_sites || uniform) {
                map_run<T>(in, out, n, t[site], t[uniform ? 0 : site + 1], mask);
            } else if (channels == 3) {
                map_pixels<T, 3>(in, out, width, t, mask);
            } else {
                map_pixels<T, 4>(in, out, width, t, mask);
            }
        }
    });
}

}  // namespace

void map_through_tables(const Image& source, const Image& target, const ChannelTables& tables, StrayBits stray) {
    if (source.format().storage_bits == 8) {
        map_rows<std::uint8_t>(source, target, tables, stray);
    } else {
        map_rows<std::uint16_t>(source, target, tables, stray);
    }
}

void apply_lookup_tables(const Image& source, Image& target, const ChannelTables& tables) {
    const PixelFormatInfo& format = source.format();
    if (!lookup_table_supports(format))
        fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, "a lookup table cannot map ", format.name, " values");
    map_through_tables(source, target, tables, StrayBits::computed);
}

}  // namespace plox::ipl::lib
