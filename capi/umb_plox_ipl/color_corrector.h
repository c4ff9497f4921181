/* ColorCorrector: a 3x3 matrix on each pixel's (R, G, B), whatever the channel order of the
 * format, then a saturation towards (below 1) or away from (above 1) the BT.601 luma grey.
 * Unpacked RGB, BGR, RGBa and BGRa images of 8, 10 and 12 bits; alpha is kept. */
#ifndef UMB_PLOX_IPL_COLOR_CORRECTOR_H
#define UMB_PLOX_IPL_COLOR_CORRECTOR_H

#include <stddef.h>
#include <stdint.h>

#include "export.h"
#include "image.h"
#include "return_codes.h"

typedef struct PLOX_IPL_ColorCorrector_* PLOX_IPL_COLOR_CORRECTOR_HANDLE;

PLOX_IPL_EXTERN_C_BEGIN

/* The identity matrix, saturation 1. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ColorCorrector_Construct(PLOX_IPL_COLOR_CORRECTOR_HANDLE* colorCorrector);
/* A new handle to the same object: matrix and saturation are shared. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ColorCorrector_Clone(PLOX_IPL_COLOR_CORRECTOR_HANDLE colorCorrector,
                                                               PLOX_IPL_COLOR_CORRECTOR_HANDLE* clone);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ColorCorrector_Destruct(PLOX_IPL_COLOR_CORRECTOR_HANDLE colorCorrector);
/* Nine factors, row by row: RR, GR, BR (into red), RG, GG, BG (into green), RB, GB, BB (into
 * blue). Each must be finite, of magnitude at most 1e6. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ColorCorrector_SetColorCorrectionFactors(
    PLOX_IPL_COLOR_CORRECTOR_HANDLE colorCorrector, const float* factors);
/* With factors null, *count becomes the number of factors (9); otherwise *count is the room in
 * factors and the nine factors are written in the order above. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ColorCorrector_GetColorCorrectionFactors(
    PLOX_IPL_COLOR_CORRECTOR_HANDLE colorCorrector, float* factors, size_t* count);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ColorCorrector_GetSaturation(PLOX_IPL_COLOR_CORRECTOR_HANDLE colorCorrector,
                                                                       float* value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ColorCorrector_GetSaturationMin(
    PLOX_IPL_COLOR_CORRECTOR_HANDLE colorCorrector, float* value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ColorCorrector_GetSaturationMax(
    PLOX_IPL_COLOR_CORRECTOR_HANDLE colorCorrector, float* value);
/* 0 gives the luma grey, 1 the matrix result; values outside Min to Max are refused. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ColorCorrector_SetSaturation(PLOX_IPL_COLOR_CORRECTOR_HANDLE colorCorrector,
                                                                       float saturation);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ColorCorrector_IsPixelFormatSupported(
    PLOX_IPL_COLOR_CORRECTOR_HANDLE colorCorrector, uint32_t pixelFormatName, uint8_t* supported);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ColorCorrector_Process(PLOX_IPL_COLOR_CORRECTOR_HANDLE colorCorrector,
                                                                 PLOX_IPL_IMAGE_HANDLE input,
                                                                 PLOX_IPL_IMAGE_HANDLE* output);
/* On failure the image is left as it was. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ColorCorrector_ProcessInPlace(PLOX_IPL_COLOR_CORRECTOR_HANDLE colorCorrector,
                                                                        PLOX_IPL_IMAGE_HANDLE image);

PLOX_IPL_EXTERN_C_END

#endif
