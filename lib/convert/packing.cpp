#include "packing.h"

#include <cstring>

#include "../core/settings.h"
#include "packing_simd.h"

namespace plox::ipl::lib {

namespace {

// Bits [pos, pos + n) of a stream read least significant bit first; n <= 16.
std::uint32_t read_bits(const std::uint8_t* stream, std::size_t pos, unsigned n) {
    const std::uint8_t* p = stream + pos / 8;
    const unsigned shift = pos % 8;
    std::uint32_t word = 0;
    for (unsigned j = 0; 8 * j < shift + n; ++j) word |= std::uint32_t{p[j]} << (8 * j);
    return (word >> shift) & ((1u << n) - 1);
}

// Touches only the bytes that hold bits of [pos, pos + n).
void write_bits(std::uint8_t* stream, std::size_t pos, unsigned n, std::uint32_t value) {
    std::uint8_t* p = stream + pos / 8;
    const unsigned shift = pos % 8;
    const std::uint32_t mask = ((1u << n) - 1) << shift;
    const std::uint32_t bits = (value << shift) & mask;
    for (unsigned j = 0; 8 * j < shift + n; ++j)
        p[j] = static_cast<std::uint8_t>((p[j] & ~(mask >> (8 * j))) | (bits >> (8 * j)));
}

// Values in one group of a packed format (three channels of one word for word32).
std::size_t group_values(const PixelFormatInfo& format) {
    return format.packing == Packing::word32 ? 3 : format.group_pixels;
}

std::size_t group_bytes(const PixelFormatInfo& format) {
    return format.packing == Packing::word32 ? 4 : format.group_pixels * format.storage_bits_per_pixel / 8;
}

// One value anywhere in the stream; for the partial groups at the ends of a run.
std::uint32_t get_value(const PixelFormatInfo& format, const std::uint8_t* stream, std::size_t index) {
    switch (format.packing) {
        case Packing::none:
            return read_bits(stream, index * format.storage_bits, format.storage_bits) & format.max_value();
        case Packing::lsb_stream:
            return read_bits(stream, index * format.significant_bits, format.significant_bits);
        case Packing::word32:
            return read_bits(stream, index / 3 * 32 + index % 3 * 10, 10);
        case Packing::msb_grouped: {
            const unsigned low_bits = format.significant_bits - 8u;
            const std::size_t group = format.group_pixels, k = index % group;
            const std::size_t base = index / group * (group + 1) * 8;
            return read_bits(stream, base + 8 * k, 8) << low_bits |
                   read_bits(stream, base + 8 * group + low_bits * k, low_bits);
        }
    }
    return 0;
}

void put_value(const PixelFormatInfo& format, std::uint8_t* stream, std::size_t index, std::uint32_t value) {
    value &= format.max_value();
    switch (format.packing) {
        case Packing::none:
            write_bits(stream, index * format.storage_bits, format.storage_bits, value);
            return;
        case Packing::lsb_stream:
            write_bits(stream, index * format.significant_bits, format.significant_bits, value);
            return;
        case Packing::word32:
            write_bits(stream, index / 3 * 32 + index % 3 * 10, 10, value);
            return;
        case Packing::msb_grouped: {
            const unsigned low_bits = format.significant_bits - 8u;
            const std::size_t group = format.group_pixels, k = index % group;
            const std::size_t base = index / group * (group + 1) * 8;
            write_bits(stream, base + 8 * k, 8, value >> low_bits);
            write_bits(stream, base + 8 * group + low_bits * k, low_bits, value);
            return;
        }
    }
}

// Whole groups, one layout each: decode to 16 bits, decode to the 8 high bits, encode.
struct Lsb10 {
    static constexpr std::size_t kValues = 4, kBytes = 5;
    static void decode(const std::uint8_t* s, std::uint16_t* v) {
        v[0] = static_cast<std::uint16_t>(s[0] | (s[1] & 0x03) << 8);
        v[1] = static_cast<std::uint16_t>(s[1] >> 2 | (s[2] & 0x0F) << 6);
        v[2] = static_cast<std::uint16_t>(s[2] >> 4 | (s[3] & 0x3F) << 4);
        v[3] = static_cast<std::uint16_t>(s[3] >> 6 | s[4] << 2);
    }
    static void decode8(const std::uint8_t* s, std::uint8_t* v) {
        v[0] = static_cast<std::uint8_t>(s[0] >> 2 | s[1] << 6);
        v[1] = static_cast<std::uint8_t>(s[1] >> 4 | s[2] << 4);
        v[2] = static_cast<std::uint8_t>(s[2] >> 6 | s[3] << 2);
        v[3] = s[4];
    }
    static void encode(const std::uint16_t* v, std::uint8_t* s) {
        const unsigned a = v[0] & 0x3FFu, b = v[1] & 0x3FFu, c = v[2] & 0x3FFu, d = v[3] & 0x3FFu;
        s[0] = static_cast<std::uint8_t>(a);
        s[1] = static_cast<std::uint8_t>(a >> 8 | b << 2);
        s[2] = static_cast<std::uint8_t>(b >> 6 | c << 4);
        s[3] = static_cast<std::uint8_t>(c >> 4 | d << 6);
        s[4] = static_cast<std::uint8_t>(d >> 2);
    }
};

struct Lsb12 {
    static constexpr std::size_t kValues = 2, kBytes = 3;
    static void decode(const std::uint8_t* s, std::uint16_t* v) {
        v[0] = static_cast<std::uint16_t>(s[0] | (s[1] & 0x0F) << 8);
        v[1] = static_cast<std::uint16_t>(s[1] >> 4 | s[2] << 4);
    }
    static void decode8(const std::uint8_t* s, std::uint8_t* v) {
        v[0] = static_cast<std::uint8_t>(s[0] >> 4 | s[1] << 4);
        v[1] = s[2];
    }
    static void encode(const std::uint16_t* v, std::uint8_t* s) {
        const unsigned a = v[0] & 0xFFFu, b = v[1] & 0xFFFu;
        s[0] = static_cast<std::uint8_t>(a);
        s[1] = static_cast<std::uint8_t>(a >> 8 | b << 4);
        s[2] = static_cast<std::uint8_t>(b >> 4);
    }
};

struct Grouped10 {
    static constexpr std::size_t kValues = 4, kBytes = 5;
    static void decode(const std::uint8_t* s, std::uint16_t* v) {
        for (unsigned k = 0; k < 4; ++k) v[k] = static_cast<std::uint16_t>(s[k] << 2 | (s[4] >> (2 * k) & 3));
    }
    static void decode8(const std::uint8_t* s, std::uint8_t* v) { std::memcpy(v, s, 4); }
    static void encode(const std::uint16_t* v, std::uint8_t* s) {
        unsigned low = 0;
        for (unsigned k = 0; k < 4; ++k) {
            s[k] = static_cast<std::uint8_t>(v[k] >> 2);
            low |= (v[k] & 3u) << (2 * k);
        }
        s[4] = static_cast<std::uint8_t>(low);
    }
};

struct Grouped12 {
    static constexpr std::size_t kValues = 2, kBytes = 3;
    static void decode(const std::uint8_t* s, std::uint16_t* v) {
        v[0] = static_cast<std::uint16_t>(s[0] << 4 | (s[2] & 0x0F));
        v[1] = static_cast<std::uint16_t>(s[1] << 4 | s[2] >> 4);
    }
    static void decode8(const std::uint8_t* s, std::uint8_t* v) {
        v[0] = s[0];
        v[1] = s[1];
    }
    static void encode(const std::uint16_t* v, std::uint8_t* s) {
        s[0] = static_cast<std::uint8_t>(v[0] >> 4);
        s[1] = static_cast<std::uint8_t>(v[1] >> 4);
        s[2] = static_cast<std::uint8_t>((v[0] & 0xFu) | (v[1] & 0xFu) << 4);
    }
};

// Three 10-bit channels of one little-endian word.
struct Word32 {
    static constexpr std::size_t kValues = 3, kBytes = 4;
    static std::uint32_t load(const std::uint8_t* s) {
        return std::uint32_t{s[0]} | std::uint32_t{s[1]} << 8 | std::uint32_t{s[2]} << 16 | std::uint32_t{s[3]} << 24;
    }
    static void decode(const std::uint8_t* s, std::uint16_t* v) {
        const std::uint32_t w = load(s);
        for (unsigned c = 0; c < 3; ++c) v[c] = static_cast<std::uint16_t>(w >> (10 * c) & 0x3FFu);
    }
    static void decode8(const std::uint8_t* s, std::uint8_t* v) {
        const std::uint32_t w = load(s);
        for (unsigned c = 0; c < 3; ++c) v[c] = static_cast<std::uint8_t>(w >> (10 * c + 2));
    }
    static void encode(const std::uint16_t* v, std::uint8_t* s) {
        const std::uint32_t w = (v[0] & 0x3FFu) | (v[1] & 0x3FFu) << 10 | std::uint32_t{v[2] & 0x3FFu} << 20;
        for (unsigned j = 0; j < 4; ++j) s[j] = static_cast<std::uint8_t>(w >> (8 * j));
    }
};

// Calls fn with the whole-group codec of a packed format.
template <class F>
void with_codec(const PixelFormatInfo& format, F&& fn) {
    const bool grouped = format.packing == Packing::msb_grouped;
    if (format.packing == Packing::word32) fn(Word32{});
    else if (format.significant_bits == 10) grouped ? fn(Grouped10{}) : fn(Lsb10{});
    else grouped ? fn(Grouped12{}) : fn(Lsb12{});
}

bool simd_layout(const PixelFormatInfo& format, PackedLayout& layout) {
    if (format.packing == Packing::word32 || !Settings::instance().simd_enabled()) return false;
    layout = {format.significant_bits, format.packing == Packing::msb_grouped};
    return true;
}

// `count` whole groups starting at `src`.
void unpack_groups(const PixelFormatInfo& format, const std::uint8_t* src, std::size_t count, std::uint16_t* out) {
    with_codec(format, [&](auto codec) {
        using C = decltype(codec);
        std::size_t g = 0;
        if (PackedLayout layout{}; simd_layout(format, layout))
            g = unpack_groups_simd(layout, src, count * C::kBytes, count * C::kValues, out) / C::kValues;
        for (; g < count; ++g) C::decode(src + g * C::kBytes, out + g * C::kValues);
    });
}

void unpack_groups_to_8(const PixelFormatInfo& format, const std::uint8_t* src, std::size_t count, std::uint8_t* out) {
    with_codec(format, [&](auto codec) {
        using C = decltype(codec);
        std::size_t g = 0;
        if (PackedLayout layout{}; simd_layout(format, layout))
            g = unpack_groups_simd_to_8(layout, src, count * C::kBytes, count * C::kValues, out) / C::kValues;
        for (; g < count; ++g) C::decode8(src + g * C::kBytes, out + g * C::kValues);
    });
}

void pack_groups(const PixelFormatInfo& format, const std::uint16_t* values, std::size_t count, std::uint8_t* dst) {
    with_codec(format, [&](auto codec) {
        using C = decltype(codec);
        std::size_t g = 0;
        if (PackedLayout layout{}; simd_layout(format, layout))
            g = pack_groups_simd(layout, values, count * C::kValues, dst, count * C::kBytes) / C::kValues;
        for (; g < count; ++g) C::encode(values + g * C::kValues, dst + g * C::kBytes);
    });
}

// Handles the partial group at each end of a run value by value and hands the whole groups
// between to bulk(first group, group count, values).
template <class Value, class Single, class Bulk>
void run(const PixelFormatInfo& format, std::size_t first, std::size_t count, Value* values, Single single,
         Bulk bulk) {
    const std::size_t group = group_values(format);
    const std::size_t end = first + count;
    std::size_t index = first;
    for (; index < end && index % group != 0; ++index) single(index, values++);
    if (const std::size_t whole = (end - index) / group; whole != 0) {
        bulk(index / group, whole, values);
        index += whole * group;
        values += whole * group;
    }
    for (; index < end; ++index) single(index, values++);
}

std::uint16_t load16(const std::uint8_t* s) { return static_cast<std::uint16_t>(s[0] | s[1] << 8); }

}  // namespace

void unpack_values(const PixelFormatInfo& format, const std::uint8_t* stream, std::size_t first, std::size_t count,
                   std::uint16_t* out) {
    if (format.packing == Packing::none) {
        if (format.storage_bits == 8) {
            for (std::size_t i = 0; i < count; ++i) out[i] = stream[first + i];
        } else {
            const auto mask = static_cast<std::uint16_t>(format.max_value());
            const std::uint8_t* s = stream + 2 * first;
            for (std::size_t i = 0; i < count; ++i) out[i] = load16(s + 2 * i) & mask;
        }
        return;
    }
    const std::size_t bytes = group_bytes(format);
    const auto single = [&](std::size_t index, std::uint16_t* v) {
        *v = static_cast<std::uint16_t>(get_value(format, stream, index));
    };
    const auto bulk = [&](std::size_t group, std::size_t n, std::uint16_t* v) {
        unpack_groups(format, stream + group * bytes, n, v);
    };
    run(format, first, count, out, single, bulk);
}

void unpack_values_to_8(const PixelFormatInfo& format, const std::uint8_t* stream, std::size_t first,
                        std::size_t count, std::uint8_t* out) {
    const unsigned shift = format.significant_bits - 8u;
    if (format.packing == Packing::none) {
        if (format.storage_bits == 8) {
            std::memcpy(out, stream + first, count);
        } else {
            // the top 8 of the significant bits; anything above them falls off in the narrowing
            const std::uint8_t* s = stream + 2 * first;
            for (std::size_t i = 0; i < count; ++i)
                out[i] = static_cast<std::uint8_t>(load16(s + 2 * i) >> shift);
        }
        return;
    }
    const std::size_t bytes = group_bytes(format);
    const auto single = [&](std::size_t index, std::uint8_t* v) {
        *v = static_cast<std::uint8_t>(get_value(format, stream, index) >> shift);
    };
    const auto bulk = [&](std::size_t group, std::size_t n, std::uint8_t* v) {
        unpack_groups_to_8(format, stream + group * bytes, n, v);
    };
    run(format, first, count, out, single, bulk);
}

void pack_values(const PixelFormatInfo& format, const std::uint16_t* values, std::size_t first, std::size_t count,
                 std::uint8_t* stream) {
    if (format.packing == Packing::none) {
        const auto mask = static_cast<std::uint16_t>(format.max_value());
        if (format.storage_bits == 8) {
            for (std::size_t i = 0; i < count; ++i) stream[first + i] = static_cast<std::uint8_t>(values[i] & mask);
        } else {
            std::uint8_t* s = stream + 2 * first;
            for (std::size_t i = 0; i < count; ++i) {
                const unsigned v = values[i] & mask;
                s[2 * i] = static_cast<std::uint8_t>(v);
                s[2 * i + 1] = static_cast<std::uint8_t>(v >> 8);
            }
        }
        return;
    }
    const std::size_t bytes = group_bytes(format);
    const auto single = [&](std::size_t index, const std::uint16_t* v) { put_value(format, stream, index, *v); };
    const auto bulk = [&](std::size_t group, std::size_t n, const std::uint16_t* v) {
        pack_groups(format, v, n, stream + group * bytes);
    };
    run(format, first, count, values, single, bulk);
}

}  // namespace plox::ipl::lib
