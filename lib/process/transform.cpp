#include "transform.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "../core/error.h"
#include "../core/strip_runner.h"
#include "output.h"
#include "reverse_pixels.h"
#include "turn_blocks.h"
#include "whole_pixels.h"

namespace plox::ipl::lib {

namespace {

// The pattern whose site (x, y) has the colour of site (y, x) of `pattern`.
PLOX_IPL_BAYER_PATTERN transposed_pattern(PLOX_IPL_BAYER_PATTERN pattern) {
    for (const PLOX_IPL_BAYER_PATTERN candidate : {PLOX_IPL_BAYER_PATTERN_GR, PLOX_IPL_BAYER_PATTERN_RG,
                                                   PLOX_IPL_BAYER_PATTERN_GB, PLOX_IPL_BAYER_PATTERN_BG}) {
        bool same = true;
        for (std::size_t y = 0; y < 2; ++y) {
            for (std::size_t x = 0; x < 2; ++x) same = same && bayer_colour(candidate, x, y) == bayer_colour(pattern, y, x);
        }
        if (same) return candidate;
    }
    return pattern;
}

struct Result {
    const PixelFormatInfo* format;
    std::size_t width;
    std::size_t height;
};

// Size and format of the result: a Bayer mosaic is named by the cell that lands at its top left.
Result result_of(const Image& source, const Transform& transform) {
    const std::size_t width = transform.transpose ? source.height() : source.width();
    const std::size_t height = transform.transpose ? source.width() : source.height();
    const PixelFormatInfo& format = source.format();
    if (!format.is_bayer()) return {&format, width, height};
    const PLOX_IPL_BAYER_PATTERN turned = transform.transpose ? transposed_pattern(format.bayer) : format.bayer;
    const PLOX_IPL_BAYER_PATTERN pattern = shifted_bayer_pattern(turned, transform.mirror_columns ? (width - 1) % 2 : 0,
                                                                 transform.mirror_rows ? (height - 1) % 2 : 0);
    return {&with_bayer_pattern(format, pattern), width, height};
}

// Every result row without a transposition: whole rows copied or reversed, on the calling thread.
// The copy is bound by memory and by faulting in the fresh result; a second thread measured no
// faster. Writing from the last row up reads an up-down mirror's source forwards, which the
// prefetcher follows best.
void move_rows(const Image& source, const Image& result, const Transform& transform) {
    const std::size_t width = source.width();
    const std::size_t pixel = pixel_bytes(source.format());
    for (std::size_t y = result.height(); y-- > 0;) {
        const std::uint8_t* in = source.row(transform.mirror_rows ? source.height() - 1 - y : y);
        if (transform.mirror_columns) reverse_pixels(in, result.row(y), width, pixel);
        else std::memcpy(result.row(y), in, width * pixel);
    }
}

// Sides of the square tiles of a transposition: the source lines one tile reads stay in the L1
// cache while the tile's result rows are written.
template <std::size_t N>
constexpr std::size_t kTile = N <= 4 ? 64 : 32;

// Result rows [first, end) and columns [left, right) of a quarter turn, tile by tile: result
// row y is a source column, read down or up.
template <std::size_t N>
void turn_tiles(const Image& source, const Image& result, const Transform& transform, std::size_t first,
                std::size_t end, std::size_t left, std::size_t right) {
    const std::size_t width = result.width();
    const std::size_t height = result.height();
    const auto stride = static_cast<std::ptrdiff_t>(source.row_stride());
    // Result column x comes from source row x, or from source row width - 1 - x.
    const std::uint8_t* top = source.row(transform.mirror_columns ? width - 1 : 0);
    const std::ptrdiff_t step = transform.mirror_columns ? -stride : stride;
    for (std::size_t tile_y = first; tile_y < end; tile_y += kTile<N>) {
        const std::size_t tile_end_y = std::min(tile_y + kTile<N>, end);
        for (std::size_t tile_x = left; tile_x < right; tile_x += kTile<N>) {
            const std::size_t tile_end_x = std::min(tile_x + kTile<N>, right);
            for (std::size_t y = tile_y; y < tile_end_y; ++y) {
                const std::size_t column = transform.mirror_rows ? height - 1 - y : y;
                const std::uint8_t* in = top + column * N + static_cast<std::ptrdiff_t>(tile_x) * step;
                std::uint8_t* out = result.row(y);
                for (std::size_t x = tile_x; x < tile_end_x; ++x, in += step) std::memcpy(out + x * N, in, N);
            }
        }
    }
}

// Result rows [first, end) of a quarter turn: whole SIMD blocks where the pixel size has them,
// plain tiles for the right and bottom edges they leave.
template <std::size_t N>
void turn_rows(const Image& source, const Image& result, const Transform& transform, std::size_t first,
               std::size_t end) {
    const Turn turn{source.data(),
                    static_cast<std::ptrdiff_t>(source.row_stride()),
                    result.data(),
                    static_cast<std::ptrdiff_t>(result.row_stride()),
                    result.width(),
                    result.height(),
                    transform.mirror_rows,
                    transform.mirror_columns};
    const std::size_t side = turn_blocks(turn, N, first, end - first);
    const std::size_t block_right = side == 0 ? 0 : result.width() - result.width() % side;
    const std::size_t block_end = side == 0 ? first : end - (end - first) % side;
    turn_tiles<N>(source, result, transform, first, block_end, block_right, result.width());
    turn_tiles<N>(source, result, transform, block_end, end, 0, result.width());
}

// Writes the transformed `source` into `result`, whose memory is another.
void run(const Image& source, const Image& result, const Transform& transform) {
    if (!transform.transpose) {
        move_rows(source, result, transform);
        return;
    }
    with_pixel_size(pixel_bytes(source.format()), [&](auto size) {
        constexpr std::size_t N = decltype(size)::bytes;
        run_strips<std::uint8_t, std::uint8_t>(source, result, StripPlan{kTile<N>, 0}, [&](const auto& strip) {
            turn_rows<N>(source, result, transform, strip.first(), strip.end());
        });
    });
}

void swap_bytes(std::uint8_t* a, std::uint8_t* b, std::size_t count) {
    std::uint8_t held[4096];
    for (std::size_t done = 0; done < count; done += sizeof held) {
        const std::size_t n = std::min(sizeof held, count - done);
        std::memcpy(held, a + done, n);
        std::memcpy(a + done, b + done, n);
        std::memcpy(b + done, held, n);
    }
}

// Mirrors within the image's rows: row pairs (y, height - 1 - y) swap, rows reverse.
void mirror_in_place(const Image& image, const Transform& transform) {
    const std::size_t width = image.width();
    const std::size_t height = image.height();
    const std::size_t pixel = pixel_bytes(image.format());
    if (!transform.mirror_rows) {
        for_each_strip(height, width, 1, [&](std::size_t first, std::size_t end) {
            for (std::size_t y = first; y < end; ++y) reverse_pixels_in_place(image.row(y), width, pixel);
        });
        return;
    }
    for_each_strip((height + 1) / 2, 2 * width, 1, [&](std::size_t first, std::size_t end) {
        for (std::size_t y = first; y < end; ++y) {
            std::uint8_t* upper = image.row(y);
            std::uint8_t* lower = image.row(height - 1 - y);
            if (transform.mirror_columns) {
                reverse_pixels_in_place(upper, width, pixel);
                if (lower != upper) reverse_pixels_in_place(lower, width, pixel);
            }
            if (lower != upper) swap_bytes(upper, lower, width * pixel);
        }
    });
}

}  // namespace

Transform rotation(std::int32_t degrees) {
    switch (degrees) {
        case 90: return {true, true, false};
        case 180: return kMirrorUpDownLeftRight;
        case 270: return {true, false, true};
    }
    fail(PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT, "rotation angle ", degrees,
         " is not 90, 180 or 270 degrees counter-clockwise");
}

std::shared_ptr<Image> transformed(const Image& inputImage, const Transform& transform) {
    require_whole_pixels(inputImage.format(), "inputImage");
    const Result shape = result_of(inputImage, transform);
    auto result = std::make_shared<Image>(*shape.format, shape.width, shape.height, Fill::none);
    run(inputImage, *result, transform);
    result->set_timestamp(inputImage.timestamp());
    return result;
}

void transform_in_place(Image& image, const Transform& transform) {
    require_whole_pixels(image.format(), "image");
    const Result shape = result_of(image, transform);
    // Mirrors swap and reverse rows within the image; a quarter turn of a non-square image moves
    // every pixel to another row, so it writes scratch memory that then replaces the pixels.
    process_in_place(image, *shape.format, shape.width, shape.height,
                     transform.transpose ? InPlace::scratch : InPlace::direct,
                     [&](const Image& source, const Image& target) {
                         if (transform.transpose) run(source, target, transform);
                         else mirror_in_place(target, transform);
                     });
}

}  // namespace plox::ipl::lib
