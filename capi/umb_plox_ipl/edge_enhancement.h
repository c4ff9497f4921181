/* EdgeEnhancement: an unsharp mask on each 3x3 neighbourhood. Each value v gets
 * round(factor * (8 v - sum of its 8 neighbours) / 64), rounded half up and saturated; the
 * border is mirrored (row -1 reads row 1). Colour images are sharpened on their BT.601 luma and
 * the same correction is added to R, G and B; alpha is kept. Factor 0 leaves the bytes as they
 * are. Unpacked mono and RGB-family formats of 8 to 16 bits. */
#ifndef UMB_PLOX_IPL_EDGE_ENHANCEMENT_H
#define UMB_PLOX_IPL_EDGE_ENHANCEMENT_H

#include <stdint.h>

#include "export.h"
#include "image.h"
#include "return_codes.h"

typedef struct PLOX_IPL_EdgeEnhancement_* PLOX_IPL_EDGE_ENHANCEMENT_HANDLE;

/* The legal factors: min to max in steps of inc. */
typedef struct PLOX_IPL_EDGE_ENHANCEMENT_RANGE {
    uint32_t min;
    uint32_t max;
    uint32_t inc;
} PLOX_IPL_EDGE_ENHANCEMENT_RANGE;

PLOX_IPL_EXTERN_C_BEGIN

/* The default factor, 16. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_EdgeEnhancement_Construct(PLOX_IPL_EDGE_ENHANCEMENT_HANDLE* edgeEnhancement);
/* A new handle to the same object: the factor is shared. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_EdgeEnhancement_Clone(PLOX_IPL_EDGE_ENHANCEMENT_HANDLE edgeEnhancement,
                                                                PLOX_IPL_EDGE_ENHANCEMENT_HANDLE* clone);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_EdgeEnhancement_Destruct(PLOX_IPL_EDGE_ENHANCEMENT_HANDLE edgeEnhancement);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_EdgeEnhancement_SetFactor(PLOX_IPL_EDGE_ENHANCEMENT_HANDLE edgeEnhancement,
                                                                    uint32_t factor);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_EdgeEnhancement_GetFactor(PLOX_IPL_EDGE_ENHANCEMENT_HANDLE edgeEnhancement,
                                                                    uint32_t* factor);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_EdgeEnhancement_GetDefaultFactor(
    PLOX_IPL_EDGE_ENHANCEMENT_HANDLE edgeEnhancement, uint32_t* factor);
/* 0 to 64 in steps of 1. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_EdgeEnhancement_GetRange(PLOX_IPL_EDGE_ENHANCEMENT_HANDLE edgeEnhancement,
                                                                   PLOX_IPL_EDGE_ENHANCEMENT_RANGE* range);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_EdgeEnhancement_IsPixelFormatSupported(
    PLOX_IPL_EDGE_ENHANCEMENT_HANDLE edgeEnhancement, uint32_t pixelFormatName, uint8_t* supported);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_EdgeEnhancement_Process(PLOX_IPL_EDGE_ENHANCEMENT_HANDLE edgeEnhancement,
                                                                  PLOX_IPL_IMAGE_HANDLE image,
                                                                  PLOX_IPL_IMAGE_HANDLE* output);
/* On failure the image is left as it was. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_EdgeEnhancement_ProcessInPlace(
    PLOX_IPL_EDGE_ENHANCEMENT_HANDLE edgeEnhancement, PLOX_IPL_IMAGE_HANDLE image);

PLOX_IPL_EXTERN_C_END

#endif
