/* A reusable converter with pools of output buffers: after PreAllocateConversion, converting a
 * stream of frames takes its output memory from the pool instead of allocating it. */
#ifndef UMB_PLOX_IPL_IMAGE_CONVERTER_H
#define UMB_PLOX_IPL_IMAGE_CONVERTER_H

#include <stddef.h>
#include <stdint.h>

#include "export.h"
#include "image.h"
#include "return_codes.h"

typedef struct PLOX_IPL_ImageConverter_* PLOX_IPL_IMAGE_CONVERTER_HANDLE;

PLOX_IPL_EXTERN_C_BEGIN

/* A new converter in PLOX_IPL_CONVERSION_MODE_FAST without pools. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ImageConverter_Construct(PLOX_IPL_IMAGE_CONVERTER_HANDLE* converter);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ImageConverter_Destruct(PLOX_IPL_IMAGE_CONVERTER_HANDLE converter);
/* A new handle to the same converter: mode and pools are shared. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ImageConverter_AcquireReference(PLOX_IPL_IMAGE_CONVERTER_HANDLE converter,
                                                                          PLOX_IPL_IMAGE_CONVERTER_HANDLE* reference);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ImageConverter_GetConversionMode(PLOX_IPL_IMAGE_CONVERTER_HANDLE converter,
                                                                           int32_t* conversionMode);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ImageConverter_SetConversionMode(PLOX_IPL_IMAGE_CONVERTER_HANDLE converter,
                                                                           int32_t conversionMode);
/* Keeps imageCount output buffers for converting width x height images of input to output; a
 * second call for the same formats and size replaces the pool. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ImageConverter_PreAllocateConversion(
    PLOX_IPL_IMAGE_CONVERTER_HANDLE converter, uint32_t inputPixelFormatName, uint32_t outputPixelFormatName,
    size_t width, size_t height, size_t imageCount);
/* With list == NULL, stores the number of formats in *count; then fills list with *count codes. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ImageConverter_GetSupportedOutputPixelFormatNames(
    PLOX_IPL_IMAGE_CONVERTER_HANDLE converter, uint32_t inputPixelFormatName, uint32_t* list, size_t* count);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ImageConverter_Convert(PLOX_IPL_IMAGE_CONVERTER_HANDLE converter,
                                                                 PLOX_IPL_IMAGE_HANDLE input,
                                                                 uint32_t outputPixelFormatName,
                                                                 PLOX_IPL_IMAGE_HANDLE* output);
/* Into the caller's buffer, over which the new image is created; nothing is written when the
 * buffer is too small (PLOX_IPL_RETURN_CODE_BUFFER_TOO_SMALL). */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ImageConverter_ConvertToBuffer(PLOX_IPL_IMAGE_CONVERTER_HANDLE converter,
                                                                         PLOX_IPL_IMAGE_HANDLE input,
                                                                         uint32_t outputPixelFormatName,
                                                                         uint8_t* buffer, uint64_t bufferSize,
                                                                         PLOX_IPL_IMAGE_HANDLE* output);

PLOX_IPL_EXTERN_C_END

#endif
