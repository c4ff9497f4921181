// Mirroring and quarter turns of images whose pixels sit in their own bytes.
#pragma once

#include <cstdint>
#include <memory>

#include "../core/image.h"

namespace plox::ipl::lib {

// A transposition (quarter turns only), then mirroring of the result's rows and columns. Every
// mirror and rotation by a multiple of 90 degrees is one of these.
struct Transform {
    bool transpose;
    bool mirror_rows;     // result row y is row height - 1 - y
    bool mirror_columns;  // result column x is column width - 1 - x
};

inline constexpr Transform kMirrorUpDown{false, true, false};
inline constexpr Transform kMirrorLeftRight{false, false, true};
inline constexpr Transform kMirrorUpDownLeftRight{false, true, true};

// The turn by `degrees` counter-clockwise (90, 180 or 270); INVALID_ARGUMENT names any other.
Transform rotation(std::int32_t degrees);

// The object behind a transformer handle. It has no settings; the handle exists so that the
// transformer is shared and released like every other library object.
class ImageTransformer : public Object {};

// A new image; a Bayer result gets the pattern of its new top-left cell. Packed and YUV formats
// are IMAGE_FORMAT_NOT_SUPPORTED.
std::shared_ptr<Image> transformed(const Image& inputImage, const Transform& transform);

// The same on the image's own memory; a quarter turn swaps its width and height. Nothing is
// written when it fails.
void transform_in_place(Image& image, const Transform& transform);

}  // namespace plox::ipl::lib
