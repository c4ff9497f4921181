/* Mirroring and rotation by multiples of 90 degrees, as new images or in place. Bayer results
 * carry the pattern of their new top-left cell; packed and YUV formats are refused. */
#ifndef UMB_PLOX_IPL_IMAGE_TRANSFORMER_H
#define UMB_PLOX_IPL_IMAGE_TRANSFORMER_H

#include <stdint.h>

#include "export.h"
#include "image.h"
#include "return_codes.h"

typedef struct PLOX_IPL_ImageTransformer_* PLOX_IPL_IMAGE_TRANSFORMER_HANDLE;

PLOX_IPL_EXTERN_C_BEGIN

PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ImageTransformer_Construct(PLOX_IPL_IMAGE_TRANSFORMER_HANDLE* transformer);
/* A new handle to the same transformer. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ImageTransformer_Clone(PLOX_IPL_IMAGE_TRANSFORMER_HANDLE transformer,
                                                                 PLOX_IPL_IMAGE_TRANSFORMER_HANDLE* clone);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ImageTransformer_Destruct(PLOX_IPL_IMAGE_TRANSFORMER_HANDLE transformer);

PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ImageTransformer_MirrorUpDown(PLOX_IPL_IMAGE_TRANSFORMER_HANDLE transformer,
                                                                        PLOX_IPL_IMAGE_HANDLE inputImage,
                                                                        PLOX_IPL_IMAGE_HANDLE* outputImage);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ImageTransformer_MirrorLeftRight(
    PLOX_IPL_IMAGE_TRANSFORMER_HANDLE transformer, PLOX_IPL_IMAGE_HANDLE inputImage, PLOX_IPL_IMAGE_HANDLE* outputImage);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ImageTransformer_MirrorUpDownLeftRight(
    PLOX_IPL_IMAGE_TRANSFORMER_HANDLE transformer, PLOX_IPL_IMAGE_HANDLE inputImage, PLOX_IPL_IMAGE_HANDLE* outputImage);
/* rotationAngle: 90, 180 or 270 degrees counter-clockwise; other values are INVALID_ARGUMENT. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ImageTransformer_Rotate(PLOX_IPL_IMAGE_TRANSFORMER_HANDLE transformer,
                                                                  PLOX_IPL_IMAGE_HANDLE inputImage,
                                                                  int32_t rotationAngle,
                                                                  PLOX_IPL_IMAGE_HANDLE* outputImage);

/* In place: every handle and view of the image sees the result. Nothing is written on failure. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ImageTransformer_MirrorUpDownInPlace(
    PLOX_IPL_IMAGE_TRANSFORMER_HANDLE transformer, PLOX_IPL_IMAGE_HANDLE image);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ImageTransformer_MirrorLeftRightInPlace(
    PLOX_IPL_IMAGE_TRANSFORMER_HANDLE transformer, PLOX_IPL_IMAGE_HANDLE image);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ImageTransformer_MirrorUpDownLeftRightInPlace(
    PLOX_IPL_IMAGE_TRANSFORMER_HANDLE transformer, PLOX_IPL_IMAGE_HANDLE image);
/* A quarter turn swaps width and height; the image keeps its memory and byte count. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ImageTransformer_RotateInPlace(PLOX_IPL_IMAGE_TRANSFORMER_HANDLE transformer,
                                                                         PLOX_IPL_IMAGE_HANDLE image,
                                                                         int32_t rotationAngle);

PLOX_IPL_EXTERN_C_END

#endif
