/* Layout queries for pixel formats. `name` is a PLOX_IPL_PIXEL_FORMAT_NAME code; Invalid
 * and unknown codes fail with PLOX_IPL_RETURN_CODE_INVALID_ARGUMENT. */
#ifndef UMB_PLOX_IPL_PIXEL_FORMAT_H
#define UMB_PLOX_IPL_PIXEL_FORMAT_H

#include <stddef.h>
#include <stdint.h>

#include "export.h"
#include "pixel_format_names.h"
#include "return_codes.h"

typedef enum PLOX_IPL_ENDIANNESS {
    PLOX_IPL_ENDIANNESS_UNKNOWN = 0,
    PLOX_IPL_ENDIANNESS_LITTLE_ENDIAN = 1,
    PLOX_IPL_ENDIANNESS_BIG_ENDIAN = 2
} PLOX_IPL_ENDIANNESS;

/* The colour of the top-left pixel pair: GR means row 0 is G R G R ..., row 1 B G B G ... */
typedef enum PLOX_IPL_BAYER_PATTERN {
    PLOX_IPL_BAYER_PATTERN_UNKNOWN = 0,
    PLOX_IPL_BAYER_PATTERN_NONE = 1,
    PLOX_IPL_BAYER_PATTERN_GR = 2,
    PLOX_IPL_BAYER_PATTERN_RG = 3,
    PLOX_IPL_BAYER_PATTERN_GB = 4,
    PLOX_IPL_BAYER_PATTERN_BG = 5
} PLOX_IPL_BAYER_PATTERN;

PLOX_IPL_EXTERN_C_BEGIN

PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_PixelFormat_GetNumChannels(uint32_t name, size_t* count);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_PixelFormat_GetNumSignificantBitsPerChannel(uint32_t name, size_t* bits);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_PixelFormat_GetNumStorageBitsPerChannel(uint32_t name, size_t* bits);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_PixelFormat_GetNumSignificantBitsPerPixel(uint32_t name, size_t* bits);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_PixelFormat_GetNumStorageBitsPerPixel(uint32_t name, size_t* bits);
/* 0 for floating-point formats. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_PixelFormat_GetMaximumValuePerChannel(uint32_t name, uint32_t* value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_PixelFormat_GetEndianness(uint32_t name, PLOX_IPL_ENDIANNESS* endianness);
/* Bytes that numPixels pixels occupy: a ...10p/...12p bit stream ends with the byte of its last
 * bit; the ...g40UMB/...g24UMB formats and UYVY take whole groups. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_PixelFormat_CalculateStorageSizeOfPixels(uint32_t name, uint64_t numPixels,
                                                                                    uint64_t* size);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_PixelFormat_IsPacked(uint32_t name, uint8_t* packed);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_PixelFormat_IsBayered(uint32_t name, uint8_t* bayered);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_PixelFormat_IsYUV(uint32_t name, uint8_t* yuv);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_PixelFormat_IsCoord3D(uint32_t name, uint8_t* coord3d);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_PixelFormat_IsFloat(uint32_t name, uint8_t* isFloat);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_PixelFormat_GetBayerPattern(uint32_t name, PLOX_IPL_BAYER_PATTERN* pattern);

PLOX_IPL_EXTERN_C_END

#endif
