// Harnesses of the file readers: one per decoder (the bytes decoded in memory, then read as a
// file, which turns the decoded picture into an image), and one for reading by content.
#pragma once

#include <sys/mman.h>
#include <unistd.h>
#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "lib/core/image.h"
#include "lib/core/pixel_format_table.h"
#include "lib/io/bmp.h"
#include "lib/io/image_files.h"
#include "lib/io/jpeg.h"
#include "lib/io/png.h"
#include "lib/io/raw.h"
#include "support.h"

namespace plox::ipl::fuzz {

// The input as a file that the readers open by name, held in memory: nothing touches the disk
// and one file serves every input of the process.
class MemoryFile {
public:
    MemoryFile() : fd_(::memfd_create("plox-fuzz-input", MFD_CLOEXEC)) {
        if (fd_ < 0) finding("memfd_create failed");
        path_ = "/proc/self/fd/" + std::to_string(fd_);
    }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    ~MemoryFile() { ::close(fd_); }

    const std::string& hold(const std::uint8_t* data, std::size_t size) {
        if (::ftruncate(fd_, 0) != 0 || ::pwrite(fd_, data, size, 0) != static_cast<ssize_t>(size))
            finding(concat("cannot put ", size, " bytes into the memory file"));
        return path_;
    }

private:
    int fd_;
    std::string path_;
};

struct PictureSize {
    std::size_t width;
    std::size_t height;
};

inline void check_image(const lib::Image& image, const std::optional<PictureSize>& decoded) {
    if (decoded && (image.width() != decoded->width || image.height() != decoded->height))
        finding(concat("a ", decoded->width, "x", decoded->height, " picture was read as a ", image.width(), "x",
                       image.height(), " image"));
    if (image.byte_count() != lib::Image::byte_count(image.format(), image.width(), image.height()))
        finding(concat("a ", image.width(), "x", image.height(), " ", image.format().name, " image claims ",
                       image.byte_count(), " bytes"));
    read_all(image.data(), image.byte_count());
}

// Reads the input as a file: in its natural format, then as the pixel format its last byte
// picks, which exercises both the refusals and the conversions of the decoded samples.
inline void read_as_file(const std::uint8_t* data, std::size_t size, const std::optional<PictureSize>& decoded) {
    static MemoryFile file;
    const std::string& path = file.hold(data, size);
    try {
        check_image(*lib::read_image(path), decoded);
    } catch (const lib::Error&) {
    }
    const auto& formats = lib::all_pixel_formats();
    const lib::PixelFormatInfo& wanted = formats[size == 0 ? 0 : data[size - 1] % formats.size()];
    try {
        const std::shared_ptr<lib::Image> image = lib::read_image_as(path, wanted);
        if (&image->format() != &wanted)
            finding(concat("read as ", wanted.name, " but the image is ", image->format().name));
        check_image(*image, decoded);
    } catch (const lib::Error&) {
    }
}

inline void check_raster(const lib::Raster& raster) {
    const bool shape_ok = raster.width > 0 && raster.height > 0 && raster.channels >= 1 && raster.channels <= 4;
    const bool depth_ok = (raster.bits == 8 && raster.significant_bits == 8) ||
                          (raster.bits == 16 && raster.significant_bits >= 1 && raster.significant_bits <= 16);
    if (!shape_ok || !depth_ok)
        finding(concat("decoded a ", raster.width, "x", raster.height, " raster of ", raster.channels, " channels, ",
                       raster.bits, " bits, ", raster.significant_bits, " significant"));
    const std::uint64_t bytes = std::uint64_t{raster.width} * raster.height * raster.channels * (raster.bits / 8);
    if (bytes > lib::kMaxRasterBytes) finding(concat("decoded a raster of ", bytes, " bytes, above the limit"));
    read_all(raster.pixels.get(), bytes);
}

using Decoder = lib::Raster (*)(const std::uint8_t*, std::size_t);

template <Decoder decode>
void read_decoded(const std::uint8_t* data, std::size_t size) {
    lib::Raster raster;
    try {
        raster = decode(data, size);
    } catch (const lib::Error&) {
        return;
    }
    check_raster(raster);
    read_as_file(data, size, PictureSize{raster.width, raster.height});
}

inline void read_raw(const std::uint8_t* data, std::size_t size) {
    std::optional<lib::RawFile> raw;
    try {
        raw = lib::parse_raw(data, size);
    } catch (const lib::Error&) {
        return;
    }
    if (raw->payload != data + lib::kRawHeaderSize || raw->payload_size != size - lib::kRawHeaderSize)
        finding(concat("the payload of a ", size, "-byte raw file is ", raw->payload_size, " bytes at offset ",
                       raw->payload - data));
    read_as_file(data, size, PictureSize{raw->width, raw->height});
}

// Mutations break the CRC of the chunk they touch, and libpng drops or refuses such a chunk:
// repairing the CRCs lets the fuzzer reach what the chunks say.
inline void repair_png_crcs(std::uint8_t* data, std::size_t size) {
    const auto big_endian = [](const std::uint8_t* at) {
        return std::uint32_t{at[0]} << 24 | std::uint32_t{at[1]} << 16 | std::uint32_t{at[2]} << 8 | at[3];
    };
    for (std::size_t at = 8; at + 12 <= size;) {
        const std::uint32_t length = big_endian(data + at);
        if (length > size - at - 12) return;
        const auto crc = static_cast<std::uint32_t>(::crc32(0, data + at + 4, length + 4));
        for (int i = 0; i < 4; ++i) data[at + 8 + length + i] = static_cast<std::uint8_t>(crc >> (24 - 8 * i));
        at += 12 + length;
    }
}

inline void read_by_file_type(const std::uint8_t* data, std::size_t size) { read_as_file(data, size, std::nullopt); }

}  // namespace plox::ipl::fuzz
