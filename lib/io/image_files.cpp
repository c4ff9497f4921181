#include "image_files.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cctype>
#include <cstring>
#include <optional>

#include "../convert/convert.h"
#include "../core/error.h"
#include "../core/thread_pool.h"
#include "bmp.h"
#include "files.h"
#include "jpeg.h"
#include "png.h"
#include "raw.h"

namespace plox::ipl::lib {

namespace {

const char* type_name(FileType type) {
    switch (type) {
        case FileType::png: return "PNG";
        case FileType::jpeg: return "JPEG";
        case FileType::bmp: return "BMP";
        case FileType::raw: return "raw";
    }
    return "?";
}

// Grey: mono and Bayer mosaics (written as the raw mosaic). Colour: the RGB family, BGR
// reordered. The file's depth limits: JPEG 8 bits, BMP 8 bits (deeper data narrowed), PNG 16.
bool writable(const PixelFormatInfo& f, FileType type) {
    if (f.is_packed() || f.is_float) return false;
    const bool grey = f.family == Family::mono || f.family == Family::bayer;
    switch (type) {
        case FileType::raw: return true;
        case FileType::png: return (grey && f.significant_bits <= 16) || f.is_colour;
        case FileType::jpeg: return (grey || f.is_colour) && f.significant_bits == 8;
        case FileType::bmp: return (grey && f.significant_bits <= 12) || (f.is_colour && f.significant_bits == 8);
    }
    return false;
}

// The image as the codec takes it: grey or RGB(A) order, at most `max_bits` deep.
std::shared_ptr<const Image> prepare(const Image& image, unsigned max_bits) {
    const PixelFormatInfo& f = image.format();
    const PixelFormatInfo* target = &f;
    std::shared_ptr<const Image> source(&image, [](const Image*) {});
    if (f.family == Family::bayer) {
        // The mosaic as grey: the same bytes seen as the mono format of that depth.
        const PixelFormatInfo* mono = find_unpacked_format(Family::mono, f.significant_bits);
        source = std::make_shared<Image>(*mono, image.width(), image.height(), image.data(), image.byte_count());
        target = mono;
    }
    const unsigned bits = std::min<unsigned>(target->significant_bits, max_bits);
    // Files store colours in R, G, B(, A) order.
    const Family family = !target->is_colour           ? target->family
                          : target->layout.has_alpha() ? Family::rgba
                                                       : Family::rgb;
    target = find_unpacked_format(family, bits);
    if (target == &source->format()) return source;
    auto prepared = std::make_shared<Image>(*target, image.width(), image.height(), Fill::none);
    convert_into(*source, *prepared, PLOX_IPL_CONVERSION_MODE_FAST);
    return prepared;
}

RasterView view_of(const Image& image) {
    const PixelFormatInfo& f = image.format();
    return RasterView{image.data(), image.width(), image.height(), f.channels, f.storage_bits, f.significant_bits};
}

// A value of `bits` bits (1 to 16) as 16 bits, its bits repeated downwards so that the maximum
// stays the maximum.
std::uint16_t widen_to_16(std::uint16_t value, unsigned bits) {
    unsigned wide = unsigned{value} << (16 - bits);
    for (unsigned filled = bits; filled < 16; filled *= 2) wide |= wide >> filled;
    return static_cast<std::uint16_t>(wide);
}

const PixelFormatInfo& natural_format(const Raster& raster, unsigned& depth) {
    // Grey + alpha has no format of its own: it becomes RGBa with the grey replicated.
    const Family family = raster.channels == 1 ? Family::mono
                          : raster.channels == 3 ? Family::rgb
                                                 : Family::rgba;
    depth = raster.bits == 8 ? 8 : raster.significant_bits;
    if (raster.bits == 16 && depth != 10 && depth != 12 && !(family == Family::mono && depth == 16))
        depth = family == Family::mono ? 16 : 12;
    return *find_unpacked_format(family, depth);
}

// Where each channel of `format` comes from in a decoded pixel of `raster_channels` samples
// (grey, grey + alpha, RGB or RGBA): grey feeds every colour, alpha stays alpha.
std::array<unsigned, 4> source_channels(const PixelFormatInfo& format, unsigned raster_channels) {
    const bool grey = raster_channels <= 2;
    const bool alpha = raster_channels == 2 || raster_channels == 4;
    std::array<unsigned, 4> from{0, 0, 0, 0};
    if (!format.is_colour) return from;
    const ChannelLayout& out = format.layout;
    from[static_cast<unsigned>(out.red)] = 0;
    from[static_cast<unsigned>(out.green)] = grey ? 0 : 1;
    from[static_cast<unsigned>(out.blue)] = grey ? 0 : 2;
    if (out.has_alpha()) from[static_cast<unsigned>(out.alpha)] = alpha ? raster_channels - 1 : 0;
    return from;
}

std::shared_ptr<Image> image_from_raster(const Raster& raster, const PixelFormatInfo& format, unsigned depth) {
    const std::array<unsigned, 4> from = source_channels(format, raster.channels);
    const unsigned out_channels = format.channels;
    bool identity = raster.channels == out_channels;
    for (unsigned c = 0; c < out_channels; ++c) identity = identity && from[c] == c;
    if (identity && (raster.bits == 8 || raster.significant_bits == depth)) {
        // The decoded samples already are the image: take the memory over.
        return std::make_shared<Image>(format, raster.width, raster.height, raster.pixels);
    }
    auto image = std::make_shared<Image>(format, raster.width, raster.height, Fill::none);
    const std::size_t width = raster.width;
    const std::uint8_t* pixels = raster.pixels.get();
    for_each_strip(raster.height, width, 1, [&](std::size_t first, std::size_t end) {
        for (std::size_t y = first; y < end; ++y) {
            const std::size_t row = y * width;
            for (std::size_t x = 0; x < width; ++x) {
                const std::size_t in = (row + x) * raster.channels;
                const std::size_t out = (row + x) * out_channels;
                for (unsigned c = 0; c < out_channels; ++c) {
                    if (raster.bits == 8) {
                        image->data()[out + c] = pixels[in + from[c]];
                        continue;
                    }
                    std::uint16_t value;
                    std::memcpy(&value, pixels + 2 * (in + from[c]), 2);
                    if (raster.significant_bits != depth)
                        value = widen_to_16(value, raster.significant_bits) >> (16 - depth);
                    std::memcpy(image->data() + 2 * (out + c), &value, 2);
                }
            }
        }
    });
    return image;
}

// The first 16-bit sample above `max`, if any; the scan runs in strips.
std::optional<std::uint16_t> first_sample_above(const Raster& raster, std::uint32_t max) {
    const std::size_t row_samples = raster.width * raster.channels;
    const auto sample = [&](std::size_t i) {
        std::uint16_t value;
        std::memcpy(&value, raster.pixels.get() + 2 * i, 2);
        return value;
    };
    std::atomic<bool> found{false};
    for_each_strip(raster.height, raster.width, 1, [&](std::size_t first, std::size_t end) {
        for (std::size_t i = first * row_samples; i < end * row_samples && !found.load(std::memory_order_relaxed); ++i)
            if (sample(i) > max) found.store(true, std::memory_order_relaxed);
    });
    if (!found) return std::nullopt;
    // Only a refused file gets here: find the first offender in order, whatever the strips saw.
    for (std::size_t i = 0;; ++i)
        if (sample(i) > max) return sample(i);
}

enum class Content { png, jpeg, bmp, raw, unknown };

Content sniff(const std::uint8_t* data, std::size_t size) {
    static const std::uint8_t png_signature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    if (size >= 8 && std::memcmp(data, png_signature, 8) == 0) return Content::png;
    if (size >= 3 && data[0] == 0xFF && data[1] == 0xD8 && data[2] == 0xFF) return Content::jpeg;
    if (size >= 2 && data[0] == 'B' && data[1] == 'M') return Content::bmp;
    if (is_raw_file(data, size)) return Content::raw;
    return Content::unknown;
}

// ".png" of "a/b.png", "" of "a.b/c".
std::string ending_of(const std::string& path) {
    const std::size_t dot = path.find_last_of('.');
    const std::size_t slash = path.find_last_of('/');
    return dot == std::string::npos || (slash != std::string::npos && dot < slash) ? "" : path.substr(dot);
}

std::optional<FileType> type_of_ending(const std::string& path) {
    std::string ending = ending_of(path);
    std::transform(ending.begin(), ending.end(), ending.begin(), [](unsigned char c) { return std::tolower(c); });
    if (ending == ".png") return FileType::png;
    if (ending == ".jpg" || ending == ".jpeg") return FileType::jpeg;
    if (ending == ".bmp") return FileType::bmp;
    if (ending == ".raw") return FileType::raw;
    return std::nullopt;
}

Raster decode(const Encoded& file, Content content, const std::string& path) {
    try {
        switch (content) {
            case Content::png: return decode_png(file.data.get(), file.size);
            case Content::jpeg: return decode_jpeg(file.data.get(), file.size);
            case Content::bmp: return decode_bmp(file.data.get(), file.size);
            default: break;
        }
    } catch (const Error& e) {
        fail(e.code(), "'", path, "': ", e.what());
    }
    // A file whose name says it is one of ours but whose first bytes match none is damaged.
    if (const std::optional<FileType> named = type_of_ending(path))
        fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "'", path, "' is damaged: it does not begin as a ", type_name(*named),
             " file does");
    fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, "'", path, "' is not a PNG, JPEG, BMP or raw image file");
}

std::shared_ptr<Image> image_from_raw(const Encoded& file, const std::string& path, const PixelFormatInfo* wanted) {
    const RawFile raw = [&] {
        try {
            return parse_raw(file.data.get(), file.size);
        } catch (const Error& e) {
            fail(e.code(), "'", path, "': ", e.what());
        }
    }();
    const PixelFormatInfo& format = wanted != nullptr ? *wanted : *raw.format;
    // The header and the bytes agree, so this is only about the wanted format.
    const std::size_t needed = Image::byte_count(format, raw.width, raw.height);
    if (needed != raw.payload_size)
        fail(PLOX_IPL_RETURN_CODE_FORMAT_INTERPRETATION_ERROR, "'", path, "' holds a ", raw.width, "x", raw.height,
             " ", raw.format->name, " image of ", raw.payload_size, " bytes; as ", format.name, " it would need ",
             needed);
    auto image = std::make_shared<Image>(format, raw.width, raw.height, Fill::none);
    std::memcpy(image->data(), raw.payload, needed);
    image->set_timestamp(raw.timestamp);
    return image;
}

}  // namespace

FileType file_type_of_path(const std::string& path) {
    if (const std::optional<FileType> type = type_of_ending(path)) return *type;
    fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "file ending '", ending_of(path), "' of '", path,
         "' is not one of .png, .jpg, .jpeg, .bmp, .raw");
}

void write_image(const Image& image, const std::string& path, FileType type, std::uint32_t quality) {
    const PixelFormatInfo& f = image.format();
    if (!writable(f, type))
        fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, type_name(type), " files cannot hold ", f.name,
             " images");
    Encoded encoded;
    switch (type) {
        case FileType::raw: encoded = encode_raw(image); break;
        case FileType::png: encoded = encode_png(view_of(*prepare(image, 16)), quality); break;
        case FileType::jpeg: encoded = encode_jpeg(view_of(*prepare(image, 8)), quality); break;
        case FileType::bmp: encoded = encode_bmp(view_of(*prepare(image, 8))); break;
    }
    write_file_atomically(path, encoded.data.get(), encoded.size);
}

std::shared_ptr<Image> read_image(const std::string& path) {
    const Encoded file = read_file(path);
    const Content content = sniff(file.data.get(), file.size);
    if (content == Content::raw) return image_from_raw(file, path, nullptr);
    const Raster raster = decode(file, content, path);
    unsigned depth = 8;
    const PixelFormatInfo& format = natural_format(raster, depth);
    return image_from_raster(raster, format, depth);
}

std::shared_ptr<Image> read_image_as(const std::string& path, const PixelFormatInfo& format) {
    if (format.is_packed())
        fail(PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED, "files are not read as packed ", format.name,
             ": read the unpacked format and convert");
    const Encoded file = read_file(path);
    const Content content = sniff(file.data.get(), file.size);
    if (content == Content::raw) return image_from_raw(file, path, &format);
    const Raster raster = decode(file, content, path);
    const unsigned wanted_channels = format.is_yuv() ? 0 : format.channels;
    const unsigned depth = format.significant_bits;
    const bool depth_fits = format.storage_bits == raster.bits && !format.is_float;
    if (wanted_channels != raster.channels || !depth_fits)
        fail(PLOX_IPL_RETURN_CODE_FORMAT_INTERPRETATION_ERROR, "'", path, "' holds a ", raster.bits, "-bit ",
             raster.channels, "-channel image, which cannot be read as ", format.name);
    if (raster.bits == 16) {
        // Every value must fit the format's bits, as it is taken over unchanged.
        if (const std::optional<std::uint16_t> value = first_sample_above(raster, format.max_value()))
            fail(PLOX_IPL_RETURN_CODE_FORMAT_INTERPRETATION_ERROR, "'", path, "' holds the value ", *value,
                 ", larger than the ", format.max_value(), " of ", format.name);
    }
    Raster exact = raster;
    exact.significant_bits = depth;  // values are taken as they are
    return image_from_raster(exact, format, depth);
}

}  // namespace plox::ipl::lib
