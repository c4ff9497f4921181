// Harness of the images made over the caller's memory: a fuzzed pixel format, size and buffer,
// then what users do next (conversions in every mode, into their own buffer too, crop, scale,
// clone, reading the bytes), each result checked against what the library promises.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "lib/core/handle_registry.h"
#include "lib/core/pixel_format_table.h"
#include "support.h"

namespace plox::ipl::fuzz {

// The fixed head of an input; the pixel bytes follow it. visit() fixes the order of the fields
// for reading an input and for writing seeds alike.
struct BufferCase {
    std::uint8_t format_index = 0;  // a row of the pixel-format table, or past the end: `code`
    std::uint32_t code = 0;
    std::uint16_t width = 0;
    std::uint16_t height = 0;
    std::uint8_t flags = 0;
    std::uint8_t short_by = 0;  // bytes the size passed in falls short of the buffer
    std::uint8_t mode = 0;
    std::uint8_t target = 0;
    std::uint8_t crop[4] = {};
    std::uint8_t scale[2] = {};
    std::uint8_t interpolation = 0;
    std::uint8_t into_buffer_short_by = 0;
    double factor = 1.0;

    static constexpr std::uint8_t kWithRelease = 1;  // ConstructFromBufferWithRelease
    static constexpr std::uint8_t kHugeSides = 2;    // sides shifted into the overflow range

    template <class Field>
    void visit(Field&& field) {
        field(format_index), field(code), field(width), field(height), field(flags), field(short_by), field(mode);
        field(target), field(crop), field(scale), field(interpolation), field(into_buffer_short_by), field(factor);
    }

    // Fields in the machine's byte order; an input cut short leaves the rest at their defaults.
    static BufferCase read(const std::uint8_t*& data, std::size_t& size) {
        BufferCase head;
        head.visit([&](auto& value) {
            const std::size_t n = sizeof value < size ? sizeof value : size;
            std::memcpy(&value, data, n);
            data += n;
            size -= n;
        });
        return head;
    }

    std::vector<std::uint8_t> with_pixels(const std::vector<std::uint8_t>& pixels) {
        std::vector<std::uint8_t> input;
        visit([&](const auto& value) {
            const auto* bytes = reinterpret_cast<const std::uint8_t*>(&value);
            input.insert(input.end(), bytes, bytes + sizeof value);
        });
        input.insert(input.end(), pixels.begin(), pixels.end());
        return input;
    }
};

inline constexpr PLOX_IPL_PIXEL_FORMAT_NAME kBufferTargets[] = {
    PLOX_IPL_PIXEL_FORMAT_RGB8, PLOX_IPL_PIXEL_FORMAT_Mono8, PLOX_IPL_PIXEL_FORMAT_BGRa8};

inline std::vector<std::uint8_t> bytes_of(const ImageHandle& image) {
    std::uint8_t* data = nullptr;
    std::size_t count = 0;
    if (!succeeded(PLOX_IPL_Image_GetData(image.get(), &data), "GetData") ||
        !succeeded(PLOX_IPL_Image_GetByteCount(image.get(), &count), "GetByteCount"))
        finding("a live image does not give its bytes");
    return std::vector<std::uint8_t>(data, data + count);
}

// A result image: the size it should have, and every byte its format says it holds.
inline void check_result(const ImageHandle& result, std::size_t width, std::size_t height, const char* what) {
    std::size_t w = 0, h = 0, count = 0;
    std::uint32_t format = 0;
    std::uint8_t* data = nullptr;
    std::uint64_t storage = 0;
    succeeded(PLOX_IPL_Image_GetWidth(result.get(), &w), "GetWidth");
    succeeded(PLOX_IPL_Image_GetHeight(result.get(), &h), "GetHeight");
    succeeded(PLOX_IPL_Image_GetPixelFormat(result.get(), &format), "GetPixelFormat");
    succeeded(PLOX_IPL_Image_GetByteCount(result.get(), &count), "GetByteCount");
    succeeded(PLOX_IPL_Image_GetData(result.get(), &data), "GetData");
    succeeded(PLOX_IPL_PixelFormat_CalculateStorageSizeOfPixels(format, std::uint64_t{w} * h, &storage),
              "CalculateStorageSizeOfPixels");
    if (w != width || h != height) finding(concat(what, " of a ", width, "x", height, " image is ", w, "x", h));
    if (count != storage)
        finding(concat(what, ": a ", w, "x", h, " image of format ", format, " holds ", count, " bytes, not ", storage));
    read_all(data, count);
}

// The conversion with SIMD on and off: the same outcome and the same bytes, and the same bytes
// again when written into the caller's buffer (which stays untouched when too small).
inline void convert_every_way(const ImageHandle& source, std::size_t width, std::size_t height, std::uint32_t target,
                              std::int32_t mode, std::uint8_t into_buffer_short_by) {
    std::uint8_t simd_was = 1;
    PLOX_IPL_Library_GetSIMDEnabled(&simd_was);
    ImageHandle with_simd, without_simd;
    PLOX_IPL_Library_SetSIMDEnabled(1);
    const bool ok = succeeded(PLOX_IPL_Image_ConvertTo(source.get(), target, mode, with_simd.out()), "ConvertTo");
    PLOX_IPL_Library_SetSIMDEnabled(0);
    const bool scalar_ok =
        succeeded(PLOX_IPL_Image_ConvertTo(source.get(), target, mode, without_simd.out()), "ConvertTo");
    PLOX_IPL_Library_SetSIMDEnabled(simd_was);
    if (ok != scalar_ok) finding(concat("conversion to ", target, " mode ", mode, " depends on SIMD"));
    if (!ok) return;
    check_result(with_simd, width, height, "the conversion");
    const std::vector<std::uint8_t> expected = bytes_of(with_simd);
    if (bytes_of(without_simd) != expected)
        finding(concat("conversion to ", target, " mode ", mode, " gives other bytes without SIMD"));

    constexpr std::uint8_t kUntouched = 0xA5;
    const std::size_t capacity = expected.size() > into_buffer_short_by ? expected.size() - into_buffer_short_by : 1;
    std::vector<std::uint8_t> buffer(capacity, kUntouched);
    ImageHandle into;
    if (succeeded(PLOX_IPL_Image_ConvertToBuffer(source.get(), target, buffer.data(), buffer.size(), mode, into.out()),
                  "ConvertToBuffer")) {
        if (capacity < expected.size() || std::memcmp(buffer.data(), expected.data(), expected.size()) != 0)
            finding(concat("conversion to ", target, " into a buffer of ", capacity, " bytes differs"));
    } else if (capacity >= expected.size()) {
        finding(concat("conversion to ", target, " refused a buffer of ", capacity, " bytes"));
    } else if (std::vector<std::uint8_t>(capacity, kUntouched) != buffer) {
        finding(concat("a refused conversion into ", capacity, " bytes wrote to them"));
    }
}

inline void operate(const ImageHandle& image, const BufferCase& head, std::size_t width, std::size_t height) {
    const std::int32_t modes[] = {PLOX_IPL_CONVERSION_MODE_FAST, PLOX_IPL_CONVERSION_MODE_HIGH_QUALITY,
                                  PLOX_IPL_CONVERSION_MODE_CLASSIC, static_cast<std::int8_t>(head.mode)};
    const std::int32_t mode = modes[head.mode % 4];
    for (const std::uint32_t target : kBufferTargets)
        convert_every_way(image, width, height, target, mode, head.into_buffer_short_by);

    const std::uint32_t target = kBufferTargets[head.target % 3];
    ImageHandle multiplied;
    if (succeeded(PLOX_IPL_Image_ConvertToWithFactor(image.get(), target, head.factor, mode, multiplied.out()),
                  "ConvertToWithFactor"))
        check_result(multiplied, width, height, "the conversion with a factor");

    ImageHandle cropped;
    if (succeeded(PLOX_IPL_Image_Crop(image.get(), head.crop[0], head.crop[1], head.crop[2], head.crop[3],
                                      cropped.out()),
                  "Crop")) {
        check_result(cropped, head.crop[2], head.crop[3], "the crop");
        ImageHandle converted;
        succeeded(PLOX_IPL_Image_ConvertTo(cropped.get(), target, mode, converted.out()), "ConvertTo");
    }

    ImageHandle scaled;
    if (succeeded(PLOX_IPL_Image_Scale(image.get(), head.scale[0] + 1u, head.scale[1] + 1u, head.interpolation % 8,
                                       scaled.out()),
                  "Scale"))
        check_result(scaled, head.scale[0] + 1u, head.scale[1] + 1u, "scaling");

    ImageHandle clone;
    if (succeeded(PLOX_IPL_Image_Clone(image.get(), clone.out()), "Clone") && bytes_of(clone) != bytes_of(image))
        finding("a clone differs from its image");
}

inline void count_release(void* context) { ++*static_cast<int*>(context); }

inline void construct_from_buffer(const std::uint8_t* data, std::size_t size) {
    const BufferCase head = BufferCase::read(data, size);
    const auto& formats = lib::all_pixel_formats();
    const std::uint32_t code =
        head.format_index < formats.size() ? static_cast<std::uint32_t>(formats[head.format_index].code) : head.code;
    const unsigned shift = head.flags & BufferCase::kHugeSides ? 31 : 0;
    const std::size_t width = std::size_t{head.width} << shift;
    const std::size_t height = std::size_t{head.height} << shift;
    // A buffer of exactly the remaining bytes, so that ASan sees every read past its end.
    std::vector<std::uint8_t> buffer(data, data + size);
    const std::uint64_t claimed = size > head.short_by ? size - head.short_by : 0;
    const std::size_t handles_before = lib::HandleRegistry::instance().size();
    int releases = 0;
    {
        ImageHandle image;
        const bool with_release = head.flags & BufferCase::kWithRelease;
        const PLOX_IPL_RETURN_CODE made =
            with_release ? PLOX_IPL_Image_ConstructFromBufferWithRelease(code, buffer.data(), claimed, width, height,
                                                                         count_release, &releases, image.out())
                         : PLOX_IPL_Image_ConstructFromBuffer(code, buffer.data(), claimed, width, height, image.out());
        if (succeeded(made, "ConstructFromBuffer")) {
            check_result(image, width, height, "the image");
            std::uint8_t* in_place = nullptr;
            std::size_t bytes = 0;
            succeeded(PLOX_IPL_Image_GetData(image.get(), &in_place), "GetData");
            succeeded(PLOX_IPL_Image_GetByteCount(image.get(), &bytes), "GetByteCount");
            if (in_place != buffer.data() || bytes > claimed)
                finding(concat("an image over ", claimed, " bytes of the caller's holds ", bytes, " bytes elsewhere"));
            operate(image, head, width, height);
        }
        if (releases != 0 && made == PLOX_IPL_RETURN_CODE_SUCCESS) finding("the buffer was released while the image lives");
    }
    if ((head.flags & BufferCase::kWithRelease) && releases != 1)
        finding(concat("the buffer's release ran ", releases, " times"));
    if (lib::HandleRegistry::instance().size() != handles_before) finding("handles outlive the input");
}

}  // namespace plox::ipl::fuzz
