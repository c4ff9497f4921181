/* Image files. Paths are UTF-8 bytes with an explicit length. Writes go to a temporary file
 * renamed into place: a failed write leaves no file under the target name. */
#ifndef UMB_PLOX_IPL_IMAGE_IO_H
#define UMB_PLOX_IPL_IMAGE_IO_H

#include <stddef.h>
#include <stdint.h>

#include "export.h"
#include "image.h"
#include "return_codes.h"

PLOX_IPL_EXTERN_C_BEGIN

/* The file's natural pixel format; PNG, JPEG, BMP and our raw files, recognised by content. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ImageReader_Read(const char* path, size_t pathLength,
                                                           PLOX_IPL_IMAGE_HANDLE* image);
/* The file's data taken as the given pixel format where channels and depth fit. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ImageReader_ReadAsPixelFormat(const char* path, size_t pathLength,
                                                                        uint32_t pixelFormatName,
                                                                        PLOX_IPL_IMAGE_HANDLE* image);

/* quality: compression effort 0..100 (100: the default, a balanced zlib level). */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ImageWriter_WriteAsPNG(PLOX_IPL_IMAGE_HANDLE image, uint32_t quality,
                                                                 const char* path, size_t pathLength);
/* quality 1..100. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ImageWriter_WriteAsJPG(PLOX_IPL_IMAGE_HANDLE image, uint32_t quality,
                                                                 const char* path, size_t pathLength);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ImageWriter_WriteAsBMP(PLOX_IPL_IMAGE_HANDLE image, const char* path,
                                                                 size_t pathLength);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ImageWriter_WriteAsRAW(PLOX_IPL_IMAGE_HANDLE image, const char* path,
                                                                 size_t pathLength);
/* By the file ending: .png (quality 100), .jpg and .jpeg (quality 75), .bmp, .raw, any case. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_ImageWriter_Write(PLOX_IPL_IMAGE_HANDLE image, const char* path,
                                                            size_t pathLength);

PLOX_IPL_EXTERN_C_END

#endif
