#include <umb_plox_ipl/image_transformer.h>

#include "../process/transform.h"
#include "object_entries.h"

using namespace plox::ipl::lib;

namespace {

constexpr ObjectEntries<ImageTransformer, PLOX_IPL_IMAGE_TRANSFORMER_HANDLE> kEntries("image transformer");

void check_transformer(PLOX_IPL_IMAGE_TRANSFORMER_HANDLE handle) { kEntries.object(handle); }

PLOX_IPL_RETURN_CODE transform_to_new(PLOX_IPL_IMAGE_TRANSFORMER_HANDLE transformer, PLOX_IPL_IMAGE_HANDLE input,
                                      const Transform& transform, PLOX_IPL_IMAGE_HANDLE* output) {
    return guarded([&] {
        out(output, "outputImage");
        check_transformer(transformer);
        publish(transformed(*object_of<Image>(input, "image"), transform), output);
    });
}

PLOX_IPL_RETURN_CODE transform_image(PLOX_IPL_IMAGE_TRANSFORMER_HANDLE transformer, PLOX_IPL_IMAGE_HANDLE image,
                                     const Transform& transform) {
    return guarded([&] {
        check_transformer(transformer);
        transform_in_place(*object_of<Image>(image, "image"), transform);
    });
}

}  // namespace

extern "C" {

PLOX_IPL_RETURN_CODE PLOX_IPL_ImageTransformer_Construct(PLOX_IPL_IMAGE_TRANSFORMER_HANDLE* transformer) {
    return kEntries.construct(transformer, "transformer");
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ImageTransformer_Clone(PLOX_IPL_IMAGE_TRANSFORMER_HANDLE transformer,
                                                     PLOX_IPL_IMAGE_TRANSFORMER_HANDLE* clone) {
    return kEntries.clone(transformer, clone);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ImageTransformer_Destruct(PLOX_IPL_IMAGE_TRANSFORMER_HANDLE transformer) {
    return kEntries.destruct(transformer);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ImageTransformer_MirrorUpDown(PLOX_IPL_IMAGE_TRANSFORMER_HANDLE transformer,
                                                            PLOX_IPL_IMAGE_HANDLE inputImage,
                                                            PLOX_IPL_IMAGE_HANDLE* outputImage) {
    return transform_to_new(transformer, inputImage, kMirrorUpDown, outputImage);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ImageTransformer_MirrorLeftRight(PLOX_IPL_IMAGE_TRANSFORMER_HANDLE transformer,
                                                               PLOX_IPL_IMAGE_HANDLE inputImage,
                                                               PLOX_IPL_IMAGE_HANDLE* outputImage) {
    return transform_to_new(transformer, inputImage, kMirrorLeftRight, outputImage);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ImageTransformer_MirrorUpDownLeftRight(PLOX_IPL_IMAGE_TRANSFORMER_HANDLE transformer,
                                                                     PLOX_IPL_IMAGE_HANDLE inputImage,
                                                                     PLOX_IPL_IMAGE_HANDLE* outputImage) {
    return transform_to_new(transformer, inputImage, kMirrorUpDownLeftRight, outputImage);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ImageTransformer_Rotate(PLOX_IPL_IMAGE_TRANSFORMER_HANDLE transformer,
                                                      PLOX_IPL_IMAGE_HANDLE inputImage, int32_t rotationAngle,
                                                      PLOX_IPL_IMAGE_HANDLE* outputImage) {
    return guarded([&] {
        out(outputImage, "outputImage");
        check_transformer(transformer);
        const Transform transform = rotation(rotationAngle);
        publish(transformed(*object_of<Image>(inputImage, "image"), transform), outputImage);
    });
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ImageTransformer_MirrorUpDownInPlace(PLOX_IPL_IMAGE_TRANSFORMER_HANDLE transformer,
                                                                   PLOX_IPL_IMAGE_HANDLE image) {
    return transform_image(transformer, image, kMirrorUpDown);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ImageTransformer_MirrorLeftRightInPlace(PLOX_IPL_IMAGE_TRANSFORMER_HANDLE transformer,
                                                                      PLOX_IPL_IMAGE_HANDLE image) {
    return transform_image(transformer, image, kMirrorLeftRight);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ImageTransformer_MirrorUpDownLeftRightInPlace(
    PLOX_IPL_IMAGE_TRANSFORMER_HANDLE transformer, PLOX_IPL_IMAGE_HANDLE image) {
    return transform_image(transformer, image, kMirrorUpDownLeftRight);
}

PLOX_IPL_RETURN_CODE PLOX_IPL_ImageTransformer_RotateInPlace(PLOX_IPL_IMAGE_TRANSFORMER_HANDLE transformer,
                                                             PLOX_IPL_IMAGE_HANDLE image, int32_t rotationAngle) {
    return guarded([&] {
        check_transformer(transformer);
        const Transform transform = rotation(rotationAngle);
        transform_in_place(*object_of<Image>(image, "image"), transform);
    });
}

}  // extern "C"
