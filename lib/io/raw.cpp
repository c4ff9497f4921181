#include "raw.h"

#include <cstring>
#include <string>

#include "../core/error.h"

namespace plox::ipl::lib {

namespace {

constexpr char kMagic[8] = {'P', 'L', 'O', 'X', 'R', 'A', 'W', '1'};

void put(std::uint8_t* at, std::uint64_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) at[i] = static_cast<std::uint8_t>(value >> (8 * i));
}

std::uint64_t get(const std::uint8_t* at, int bytes) {
    std::uint64_t value = 0;
    for (int i = 0; i < bytes; ++i) value |= std::uint64_t{at[i]} << (8 * i);
    return value;
}

}  // namespace

bool is_raw_file(const std::uint8_t* data, std::size_t size) {
    return size >= sizeof(kMagic) && std::memcmp(data, kMagic, sizeof(kMagic)) == 0;
}

Encoded encode_raw(const Image& image) {
    if (image.width() > UINT32_MAX || image.height() > UINT32_MAX)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "raw files hold sides up to ", UINT32_MAX, " pixels");
    const std::size_t size = kRawHeaderSize + image.byte_count();
    Buffer file = allocate_buffer(size, Fill::zeros);
    std::uint8_t* out = file.get();
    std::memcpy(out, kMagic, sizeof(kMagic));
    put(out + 8, image.width(), 4);
    put(out + 12, image.height(), 4);
    put(out + 16, image.format().code, 4);
    put(out + 24, image.timestamp(), 8);
    std::memcpy(out + kRawHeaderSize, image.data(), image.byte_count());
    return Encoded{file, size};
}

RawFile parse_raw(const std::uint8_t* data, std::size_t size) {
    if (size < kRawHeaderSize)
        fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "damaged raw file: its header is cut short at ", size, " bytes");
    if (!is_raw_file(data, size))
        fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "damaged raw file: it does not begin with PLOXRAW1");
    RawFile raw{};
    raw.width = static_cast<std::uint32_t>(get(data + 8, 4));
    raw.height = static_cast<std::uint32_t>(get(data + 12, 4));
    const auto code = static_cast<std::uint32_t>(get(data + 16, 4));
    const auto reserved = static_cast<std::uint32_t>(get(data + 20, 4));
    raw.timestamp = get(data + 24, 8);
    raw.payload = data + kRawHeaderSize;
    raw.payload_size = size - kRawHeaderSize;
    if (reserved != 0)
        fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "damaged raw file: header bytes 20-23 hold ", reserved, ", not zero");
    raw.format = find_pixel_format(code);
    if (raw.format == nullptr) fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "damaged raw file: unknown pixel format ", code);
    if (raw.format->is_packed())
        fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "damaged raw file: it names the packed format ", raw.format->name,
             ", which raw files do not hold");
    const std::uint64_t pixels = std::uint64_t{raw.width} * raw.height;
    if (pixels == 0)
        fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "damaged raw file: its size ", raw.width, "x", raw.height,
             " has no pixels");
    // Unpacked pixels take a byte or more each: compared first, the byte count cannot overflow.
    const bool countable = pixels <= raw.payload_size;
    if (!countable || raw.format->storage_size(pixels) != raw.payload_size)
        fail(PLOX_IPL_RETURN_CODE_IO_ERROR, "damaged raw file: it holds ", raw.payload_size, " image bytes, a ",
             raw.width, "x", raw.height, " ", raw.format->name, " image needs ",
             countable ? concat(raw.format->storage_size(pixels)) : std::string("more"));
    return raw;
}

}  // namespace plox::ipl::lib
