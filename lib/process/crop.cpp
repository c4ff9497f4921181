#include "crop.h"

#include <cstring>

#include "../core/error.h"

namespace plox::ipl::lib {

namespace {

void check_region(const Image& source, std::size_t x, std::size_t y, std::size_t width, std::size_t height) {
    if (width == 0 || height == 0)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "crop size ", width, "x", height, " has no pixels");
    if (x > source.width() || width > source.width() - x || y > source.height() || height > source.height() - y)
        fail(PLOX_IPL_RETURN_CODE_OUT_OF_RANGE, "crop region ", width, "x", height, " at (", x, ", ", y,
             ") does not fit in the ", source.width(), "x", source.height(), " image");
}

// Y plane, then the interleaved chroma plane at half resolution.
std::shared_ptr<Image> crop_semiplanar(const Image& source, std::size_t x, std::size_t y, std::size_t width,
                                       std::size_t height) {
    if ((x | y | width | height | source.width() | source.height()) & 1)
        fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "a crop of ", source.format().name,
             " needs even positions and sizes: ", width, "x", height, " at (", x, ", ", y, ") of a ", source.width(),
             "x", source.height(), " image");
    auto result = std::make_shared<Image>(source.format(), width, height, Fill::none);
    const std::uint8_t* luma = source.data();
    const std::uint8_t* chroma = luma + source.width() * source.height();
    std::uint8_t* out_luma = result->data();
    std::uint8_t* out_chroma = out_luma + width * height;
    for (std::size_t row = 0; row < height; ++row)
        std::memcpy(out_luma + row * width, luma + (y + row) * source.width() + x, width);
    for (std::size_t row = 0; row < height / 2; ++row)
        std::memcpy(out_chroma + row * width, chroma + (y / 2 + row) * source.width() + x, width);
    return result;
}

}  // namespace

std::shared_ptr<Image> crop(const Image& source, std::size_t x, std::size_t y, std::size_t width,
                            std::size_t height) {
    check_region(source, x, y, width, height);
    const PixelFormatInfo& format = source.format();
    std::shared_ptr<Image> result;
    if (format.family == Family::yuv420) {
        result = crop_semiplanar(source, x, y, width, height);
    } else {
        // Rows are not padded, so every copied row must start and end on a whole group.
        const std::size_t group = format.group_pixels;
        for (std::size_t row = y; row < y + height; ++row) {
            if ((row * source.width() + x) % group != 0 || width % group != 0)
                fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "a crop of ", format.name, " must start and end on whole ",
                     group, "-pixel groups in every row: ", width, "x", height, " at (", x, ", ", y, ") of a ",
                     source.width(), "x", source.height(), " image");
        }
        const PixelFormatInfo& out_format =
            format.is_bayer() ? with_bayer_pattern(format, shifted_bayer_pattern(format.bayer, x % 2, y % 2)) : format;
        result = std::make_shared<Image>(out_format, width, height, Fill::none);
        const std::size_t row_bytes = format.storage_size(width);
        for (std::size_t row = 0; row < height; ++row) {
            const std::size_t offset = format.storage_size((y + row) * source.width() + x);
            std::memcpy(result->data() + row * row_bytes, source.data() + offset, row_bytes);
        }
    }
    result->set_timestamp(source.timestamp());
    return result;
}

}  // namespace plox::ipl::lib
