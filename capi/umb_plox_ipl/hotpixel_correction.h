/* HotpixelCorrection: finds pixels that stand out from their same-colour neighbours by more than
 * the local noise allows, and replaces listed pixels by the mean of those neighbours. Unpacked
 * mono and Bayer formats of 8 to 16 bits; a Bayer site is compared with the sites of its own
 * colour, two pixels away. */
#ifndef UMB_PLOX_IPL_HOTPIXEL_CORRECTION_H
#define UMB_PLOX_IPL_HOTPIXEL_CORRECTION_H

#include <stddef.h>
#include <stdint.h>

#include "export.h"
#include "image.h"
#include "return_codes.h"

typedef struct PLOX_IPL_HotpixelCorrection_* PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE;

/* A pixel position: x is the column, y the row. */
typedef struct PLOX_IPL_POINT_2D {
    size_t x;
    size_t y;
} PLOX_IPL_POINT_2D;

PLOX_IPL_EXTERN_C_BEGIN

/* Sensitivity 3 and gain factor 100 %, an empty detection result and an empty adaptive list. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE
PLOX_IPL_HotpixelCorrection_Construct(PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE* hotpixelCorrection);
/* A new handle to the same object: settings, detection result and adaptive list are shared. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_HotpixelCorrection_Clone(
    PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE hotpixelCorrection, PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE* clone);
PLOX_IPL_API PLOX_IPL_RETURN_CODE
PLOX_IPL_HotpixelCorrection_Destruct(PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE hotpixelCorrection);
/* Levels 1 (fewest hot pixels) to 5 (most). */
PLOX_IPL_API PLOX_IPL_RETURN_CODE
PLOX_IPL_HotpixelCorrection_SetSensitivity(PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE hotpixelCorrection, int32_t level);
PLOX_IPL_API PLOX_IPL_RETURN_CODE
PLOX_IPL_HotpixelCorrection_GetSensitivity(PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE hotpixelCorrection, int32_t* level);
/* The sensor gain in percent, 1 to 10000: the detection threshold grows with it. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_HotpixelCorrection_SetGainFactorPercent(
    PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE hotpixelCorrection, uint32_t percent);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_HotpixelCorrection_GetGainFactorPercent(
    PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE hotpixelCorrection, uint32_t* percent);
/* Detects the hot pixels of an image and keeps them, in row order, as the object's result. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_HotpixelCorrection_Detect(
    PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE hotpixelCorrection, PLOX_IPL_IMAGE_HANDLE input);
/* Two calls: with points null, *count receives the number of detected pixels; then fills
 * `points`, which must hold *count entries. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_HotpixelCorrection_GetDetectedHotpixels(
    PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE hotpixelCorrection, PLOX_IPL_POINT_2D* points, size_t* count);
/* A new image in which the `count` listed pixels are replaced; every other byte is copied. A point
 * outside the image is refused with OUT_OF_RANGE before anything is made. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_HotpixelCorrection_Correct(
    PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE hotpixelCorrection, PLOX_IPL_IMAGE_HANDLE input,
    const PLOX_IPL_POINT_2D* points, size_t count, PLOX_IPL_IMAGE_HANDLE* output);
/* The same in the image itself; a refused call leaves it as it was. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_HotpixelCorrection_CorrectInPlace(
    PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE hotpixelCorrection, PLOX_IPL_IMAGE_HANDLE image,
    const PLOX_IPL_POINT_2D* points, size_t count);
/* Adapts the object's own list to the image (a pixel joins after 3 frames in a row in which it is
 * detected, and leaves after 5 frames in a row in which it is not), then corrects the listed
 * pixels into a new image. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_HotpixelCorrection_CorrectAdaptive(
    PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE hotpixelCorrection, PLOX_IPL_IMAGE_HANDLE input,
    PLOX_IPL_IMAGE_HANDLE* output);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_HotpixelCorrection_CorrectAdaptiveInPlace(
    PLOX_IPL_HOTPIXEL_CORRECTION_HANDLE hotpixelCorrection, PLOX_IPL_IMAGE_HANDLE image);

PLOX_IPL_EXTERN_C_END

#endif
