/* Images: creation, queries, cropping, conversion and scaling. Results come back through
 * the trailing out-pointers; every new image handle must be released with
 * PLOX_IPL_Image_Destruct. */
#ifndef UMB_PLOX_IPL_IMAGE_H
#define UMB_PLOX_IPL_IMAGE_H

#include <stddef.h>
#include <stdint.h>

#include "export.h"
#include "return_codes.h"

typedef struct PLOX_IPL_Image_* PLOX_IPL_IMAGE_HANDLE;

typedef enum PLOX_IPL_CONVERSION_MODE {
    PLOX_IPL_CONVERSION_MODE_FAST = 1,
    PLOX_IPL_CONVERSION_MODE_HIGH_QUALITY = 2,
    PLOX_IPL_CONVERSION_MODE_CLASSIC = 3
} PLOX_IPL_CONVERSION_MODE;

/* The values are OpenCV's interpolation flags of the same names. */
typedef enum PLOX_IPL_INTERPOLATION {
    PLOX_IPL_INTERPOLATION_NEAREST = 0,
    PLOX_IPL_INTERPOLATION_LINEAR = 1,
    PLOX_IPL_INTERPOLATION_CUBIC = 2,
    PLOX_IPL_INTERPOLATION_AREA = 3,
    PLOX_IPL_INTERPOLATION_LANCZOS4 = 4,
    PLOX_IPL_INTERPOLATION_LINEAR_EXACT = 5,
    PLOX_IPL_INTERPOLATION_NEAREST_EXACT = 6
} PLOX_IPL_INTERPOLATION;

PLOX_IPL_EXTERN_C_BEGIN

/* A new zero-filled image. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Image_Construct(uint32_t pixelFormatName, size_t width, size_t height,
                                                          PLOX_IPL_IMAGE_HANDLE* image);
/* An image over the caller's memory, which is used in place (not copied) for the image's whole
 * life: the caller keeps it alive and unmoved until the image and every handle to it are gone. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Image_ConstructFromBuffer(uint32_t pixelFormatName, uint8_t* buffer,
                                                                    uint64_t bufferSize, size_t width, size_t height,
                                                                    PLOX_IPL_IMAGE_HANDLE* image);
/* As ConstructFromBuffer; release(context) is called exactly once: when the image and every
 * handle to it are gone, or at once when construction fails (release itself must not be null). */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Image_ConstructFromBufferWithRelease(
    uint32_t pixelFormatName, uint8_t* buffer, uint64_t bufferSize, size_t width, size_t height,
    void (*release)(void* context), void* context, PLOX_IPL_IMAGE_HANDLE* image);
/* A deep copy with its own memory. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Image_Clone(PLOX_IPL_IMAGE_HANDLE image, PLOX_IPL_IMAGE_HANDLE* clone);
/* A second handle to the same image (same memory). */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Image_AcquireReference(PLOX_IPL_IMAGE_HANDLE image,
                                                                 PLOX_IPL_IMAGE_HANDLE* reference);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Image_Destruct(PLOX_IPL_IMAGE_HANDLE image);

PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Image_GetWidth(PLOX_IPL_IMAGE_HANDLE image, size_t* width);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Image_GetHeight(PLOX_IPL_IMAGE_HANDLE image, size_t* height);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Image_GetByteCount(PLOX_IPL_IMAGE_HANDLE image, size_t* byteCount);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Image_GetPixelFormat(PLOX_IPL_IMAGE_HANDLE image, uint32_t* pixelFormatName);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Image_GetData(PLOX_IPL_IMAGE_HANDLE image, uint8_t** data);
/* Nanoseconds of camera time at which the image was exposed; 0 for images made here. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Image_GetTimestamp(PLOX_IPL_IMAGE_HANDLE image, uint64_t* timestamp);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Image_SetTimestamp(PLOX_IPL_IMAGE_HANDLE image, uint64_t timestamp);

/* The region [x, x + width) x [y, y + height) as a new image. A Bayer region at an odd x or y
 * gets the pattern of its new top-left cell; packed regions must start and end on whole
 * packing groups. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Image_Crop(PLOX_IPL_IMAGE_HANDLE image, size_t x, size_t y, size_t width,
                                                     size_t height, PLOX_IPL_IMAGE_HANDLE* cropped);

PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Image_ConvertTo(PLOX_IPL_IMAGE_HANDLE image, uint32_t pixelFormatName,
                                                          int32_t conversionMode, PLOX_IPL_IMAGE_HANDLE* converted);
/* As ConvertTo, into the caller's buffer, over which the new image is created. Nothing is
 * written when the buffer is too small. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Image_ConvertToBuffer(PLOX_IPL_IMAGE_HANDLE image, uint32_t pixelFormatName,
                                                                uint8_t* buffer, uint64_t bufferSize,
                                                                int32_t conversionMode,
                                                                PLOX_IPL_IMAGE_HANDLE* converted);
/* As ConvertTo, then every output value multiplied by factor, rounded and saturated. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Image_ConvertToWithFactor(PLOX_IPL_IMAGE_HANDLE image,
                                                                    uint32_t pixelFormatName, double factor,
                                                                    int32_t conversionMode,
                                                                    PLOX_IPL_IMAGE_HANDLE* converted);

PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Image_Scale(PLOX_IPL_IMAGE_HANDLE image, size_t width, size_t height,
                                                      int32_t interpolation, PLOX_IPL_IMAGE_HANDLE* scaled);
/* As Scale, into the caller's buffer, over which the new image is created. Nothing is written
 * when the buffer is too small. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Image_ScaleInto(PLOX_IPL_IMAGE_HANDLE image, size_t width, size_t height,
                                                          uint8_t* buffer, uint64_t bufferSize, int32_t interpolation,
                                                          PLOX_IPL_IMAGE_HANDLE* scaled);

PLOX_IPL_EXTERN_C_END

#endif
