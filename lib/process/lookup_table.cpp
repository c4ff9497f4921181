#include "lookup_table.h"

#include "../core/strip_runner.h"

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

template <class T>
void apply_rows(const Image& source, const Image& target, const ChannelTables& tables) {
    const std::size_t channels = source.format().channels;
    run_strips<T, T>(source, target, {}, [&](const Strip<T, T>& strip) {
        const std::size_t width = strip.width();
        for (std::size_t y = strip.first(); y < strip.end(); ++y) {
            const T* in = strip.source(static_cast<std::ptrdiff_t>(y));
            T* out = strip.target(y);
            if (tables.bayer_sites) {
                const LookupTable& even = *tables.tables[(y % 2) * 2];
                const LookupTable& odd = *tables.tables[(y % 2) * 2 + 1];
                for (std::size_t x = 0; x + 1 < width; x += 2) {
                    out[x] = static_cast<T>(even(in[x]));
                    out[x + 1] = static_cast<T>(odd(in[x + 1]));
                }
                if (width % 2 != 0) out[width - 1] = static_cast<T>(even(in[width - 1]));
                continue;
            }
            for (std::size_t c = 0; c < channels; ++c) {
                const LookupTable* table = tables.tables[c];
                if (table == nullptr) {
                    if (in != out) {
                        for (std::size_t x = 0; x < width; ++x) out[x * channels + c] = in[x * channels + c];
                    }
                    continue;
                }
                for (std::size_t x = 0; x < width; ++x)
                    out[x * channels + c] = static_cast<T>((*table)(in[x * channels + c]));
            }
        }
    });
}

}  // namespace

void apply_lookup_tables(const Image& source, Image& target, const ChannelTables& tables) {
    const PixelFormatInfo& format = source.format();
    if (!lookup_table_supports(format))
        fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, "a lookup table cannot map ", format.name, " values");
    if (format.storage_bits == 8) {
        apply_rows<std::uint8_t>(source, target, tables);
    } else {
        apply_rows<std::uint16_t>(source, target, tables);
    }
}

}  // namespace plox::ipl::lib
