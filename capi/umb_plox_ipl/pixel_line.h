/* The values of one row or column of an image, copied per stored channel as 32-bit numbers. */
#ifndef UMB_PLOX_IPL_PIXEL_LINE_H
#define UMB_PLOX_IPL_PIXEL_LINE_H

#include <stddef.h>
#include <stdint.h>

#include "export.h"
#include "image.h"
#include "return_codes.h"

typedef struct PLOX_IPL_PixelLine_* PLOX_IPL_PIXEL_LINE_HANDLE;

typedef enum PLOX_IPL_ORIENTATION {
    PLOX_IPL_ORIENTATION_HORIZONTAL = 0, /* a row; the offset is its y */
    PLOX_IPL_ORIENTATION_VERTICAL = 1    /* a column; the offset is its x */
} PLOX_IPL_ORIENTATION;

PLOX_IPL_EXTERN_C_BEGIN

/* Copies the line at construction: later changes of the image do not reach it. An offset outside
 * the image is OUT_OF_RANGE; packed and YUV formats are IMAGE_FORMAT_NOT_SUPPORTED. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_PixelLine_Construct(PLOX_IPL_IMAGE_HANDLE image, int32_t orientation,
                                                              size_t offset, PLOX_IPL_PIXEL_LINE_HANDLE* pixelLine);
/* A new handle to the same line. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_PixelLine_Clone(PLOX_IPL_PIXEL_LINE_HANDLE pixelLine,
                                                          PLOX_IPL_PIXEL_LINE_HANDLE* clone);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_PixelLine_Destruct(PLOX_IPL_PIXEL_LINE_HANDLE pixelLine);

PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_PixelLine_GetPixelFormatName(PLOX_IPL_PIXEL_LINE_HANDLE pixelLine,
                                                                       uint32_t* pixelFormatName);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_PixelLine_GetOrientation(PLOX_IPL_PIXEL_LINE_HANDLE pixelLine,
                                                                   int32_t* orientation);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_PixelLine_GetOffset(PLOX_IPL_PIXEL_LINE_HANDLE pixelLine, size_t* offset);
/* One channel per stored channel, in memory order (B, G, R for BGR8); a Bayer line has one. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_PixelLine_GetNumChannels(PLOX_IPL_PIXEL_LINE_HANDLE pixelLine,
                                                                   size_t* numChannels);
/* With values == NULL, stores the number of values in *count; then fills values with *count
 * values, left to right or top to bottom. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_PixelLine_GetValuesForChannel(PLOX_IPL_PIXEL_LINE_HANDLE pixelLine,
                                                                        size_t channel, uint32_t* values,
                                                                        size_t* count);

PLOX_IPL_EXTERN_C_END

#endif
