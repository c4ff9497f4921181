#include "point_operation.h"

#include <array>
#include <cstring>
#include <vector>

#include "../core/strip_runner.h"
#include "output.h"

namespace plox::ipl::lib {

namespace {

// The tables as plain arrays indexed by the significant bits: the per-value bound check of
// LookupTable and a pass per channel cost more than the lookups themselves. Point operations
// here ignore stray high bits, so masking the index gives the table's own answer.
template <class T>
struct FlatTables {
    std::array<std::vector<T>, 4> values;  // empty: the channel is copied (alpha)
    std::uint32_t mask = 0;
    bool bayer_sites = false;
    // One table for every channel: a row is then one run of samples.
    bool uniform = false;

    FlatTables(const PixelFormatInfo& format, const ChannelTables& tables) : bayer_sites(tables.bayer_sites) {
        mask = format.max_value();
        const std::size_t count = bayer_sites ? 4 : format.channels;
        for (std::size_t c = 0; c < count; ++c) {
            const LookupTable* table = tables.tables[c];
            // 8-bit values have no stray bits, so an identity table copies alpha exactly.
            if (table == nullptr && sizeof(T) > 1) continue;
            values[c].resize(std::size_t{mask} + 1);
            for (std::uint32_t v = 0; v <= mask; ++v) values[c][v] = static_cast<T>(table ? (*table)(v) : v);
        }
        uniform = !bayer_sites;
        for (std::size_t c = 1; c < format.channels; ++c) uniform = uniform && tables.tables[c] == tables.tables[0];
    }

    const T* of(std::size_t c) const { return values[c].empty() ? nullptr : values[c].data(); }
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

template <class T>
void map_image(const Image& source, const Image& target, const ChannelTables& tables) {
    const FlatTables<T> flat(source.format(), tables);
    const std::size_t channels = source.format().channels;
    const std::uint32_t mask = flat.mask;
    const std::array<const T*, 4> t{flat.of(0), flat.of(1), flat.of(2), flat.of(3)};
    run_strips<T, T>(source, target, {}, [&](const Strip<T, T>& strip) {
        const std::size_t width = strip.width();
        for (std::size_t y = strip.first(); y < strip.end(); ++y) {
            const T* in = strip.source(static_cast<std::ptrdiff_t>(y));
            T* out = strip.target(y);
            if (flat.bayer_sites) {
                map_run<T>(in, out, width, t[(y % 2) * 2], t[(y % 2) * 2 + 1], mask);
            } else if (flat.uniform) {
                map_run<T>(in, out, width * channels, t[0], t[0], mask);
            } else if (channels == 3) {
                map_pixels<T, 3>(in, out, width, t, mask);
            } else {
                map_pixels<T, 4>(in, out, width, t, mask);
            }
        }
    });
}

void map(const Image& source, const Image& target, const ChannelTables& tables) {
    if (source.format().storage_bits == 8) {
        map_image<std::uint8_t>(source, target, tables);
    } else {
        map_image<std::uint16_t>(source, target, tables);
    }
}

}  // namespace

std::shared_ptr<Image> map_to_new_image(const Image& source, const ChannelTables& tables) {
    std::shared_ptr<Image> target = Destination::fresh().make(source.format(), source.width(), source.height());
    map(source, *target, tables);
    target->set_timestamp(source.timestamp());
    return target;
}

void map_in_place(Image& image, const ChannelTables& tables) {
    // Each value is read before it is written, and a table lookup cannot fail.
    process_in_place(image, image.format(), image.width(), image.height(), InPlace::direct,
                     [&](const Image& source, Image& target) { map(source, target, tables); });
}

}  // namespace plox::ipl::lib
