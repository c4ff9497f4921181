/* Sharpness: a relative focus measure over weighted regions, sampled at chosen intervals. Values
 * are in 8-bit grey units whatever the depth, so the same picture at 8 and 12 bits measures
 * alike; the higher the value, the sharper the image. */
#ifndef UMB_PLOX_IPL_SHARPNESS_H
#define UMB_PLOX_IPL_SHARPNESS_H

#include <stddef.h>
#include <stdint.h>

#include "export.h"
#include "image.h"
#include "return_codes.h"

typedef struct PLOX_IPL_Sharpness_* PLOX_IPL_SHARPNESS_HANDLE;

typedef enum PLOX_IPL_SHARPNESS_ALGORITHM {
    PLOX_IPL_SHARPNESS_ALGORITHM_TENENGRAD = 0,          /* mean of Gx^2 + Gy^2 (3x3 Sobel) */
    PLOX_IPL_SHARPNESS_ALGORITHM_MEAN_SCORE = 1,         /* mean |v - mean of its 8 neighbours| */
    PLOX_IPL_SHARPNESS_ALGORITHM_HISTOGRAM_VARIANCE = 2, /* variance of the sampled values */
    PLOX_IPL_SHARPNESS_ALGORITHM_SOBEL = 3               /* mean of sqrt(Gx^2 + Gy^2) */
} PLOX_IPL_SHARPNESS_ALGORITHM;

typedef enum PLOX_IPL_SHARPNESS_ROI_WEIGHT {
    PLOX_IPL_SHARPNESS_ROI_WEIGHT_WEAK = 33,
    PLOX_IPL_SHARPNESS_ROI_WEIGHT_MEDIUM = 66,
    PLOX_IPL_SHARPNESS_ROI_WEIGHT_STRONG = 99
} PLOX_IPL_SHARPNESS_ROI_WEIGHT;

/* A region: the rectangle, then the sampling steps and the weight (33, 66 or 99). */
typedef struct PLOX_IPL_SHARPNESS_ROI {
    size_t x;
    size_t y;
    size_t width;
    size_t height;
    uint8_t xSamplingInterval;
    uint8_t ySamplingInterval;
    uint8_t weight;
} PLOX_IPL_SHARPNESS_ROI;

PLOX_IPL_EXTERN_C_BEGIN

/* Tenengrad, no regions: the whole image at every pixel. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Sharpness_Construct(PLOX_IPL_SHARPNESS_HANDLE* sharpness);
/* A new handle to the same object: algorithm and regions are shared. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Sharpness_Clone(PLOX_IPL_SHARPNESS_HANDLE sharpness,
                                                          PLOX_IPL_SHARPNESS_HANDLE* clone);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Sharpness_Destruct(PLOX_IPL_SHARPNESS_HANDLE sharpness);
/* Regions outside the image fail with PLOX_IPL_RETURN_CODE_OUT_OF_RANGE naming them. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Sharpness_Measure(PLOX_IPL_SHARPNESS_HANDLE sharpness,
                                                            PLOX_IPL_IMAGE_HANDLE image, double* value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Sharpness_IsPixelFormatSupported(PLOX_IPL_SHARPNESS_HANDLE sharpness,
                                                                           uint32_t pixelFormatName,
                                                                           uint8_t* supported);
/* With pixelFormatNames == NULL, stores the number of formats in *count; then fills the list. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Sharpness_GetSupportedPixelFormats(PLOX_IPL_SHARPNESS_HANDLE sharpness,
                                                                             uint32_t* pixelFormatNames,
                                                                             size_t* count);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Sharpness_SetAlgorithm(PLOX_IPL_SHARPNESS_HANDLE sharpness,
                                                                 int32_t algorithm);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Sharpness_GetAlgorithm(PLOX_IPL_SHARPNESS_HANDLE sharpness,
                                                                 int32_t* algorithm);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Sharpness_GetROIMinSize(PLOX_IPL_SHARPNESS_HANDLE sharpness,
                                                                  size_t* width, size_t* height);
/* Replaces every region; an empty list (count 0) measures the whole image again. A region smaller
 * than the minimum fails with OUT_OF_RANGE, a zero interval or another weight with
 * INVALID_ARGUMENT; the old regions are kept then. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Sharpness_SetROIs(PLOX_IPL_SHARPNESS_HANDLE sharpness,
                                                            const PLOX_IPL_SHARPNESS_ROI* rois, size_t count);
/* With rois == NULL, stores the number of regions in *count; then fills the list. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Sharpness_GetROIs(PLOX_IPL_SHARPNESS_HANDLE sharpness,
                                                            PLOX_IPL_SHARPNESS_ROI* rois, size_t* count);

PLOX_IPL_EXTERN_C_END

#endif
