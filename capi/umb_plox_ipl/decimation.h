/* Decimation: each block of DecimationX by DecimationY pixels becomes its top-left pixel. Bayer
 * mosaics keep whole 2x2 cells and stay mosaics of the same pattern. */
#ifndef UMB_PLOX_IPL_DECIMATION_H
#define UMB_PLOX_IPL_DECIMATION_H

#include <stddef.h>
#include <stdint.h>

#include "export.h"
#include "image.h"
#include "return_codes.h"

typedef struct PLOX_IPL_Decimation_* PLOX_IPL_DECIMATION_HANDLE;

PLOX_IPL_EXTERN_C_BEGIN

/* Factors 1 by 1. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Decimation_Construct(PLOX_IPL_DECIMATION_HANDLE* decimation);
/* A new handle to the same object: the factors are shared. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Decimation_Clone(PLOX_IPL_DECIMATION_HANDLE decimation,
                                                           PLOX_IPL_DECIMATION_HANDLE* clone);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Decimation_Destruct(PLOX_IPL_DECIMATION_HANDLE decimation);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Decimation_SetDecimationX(PLOX_IPL_DECIMATION_HANDLE decimation,
                                                                    uint8_t value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Decimation_GetDecimationX(PLOX_IPL_DECIMATION_HANDLE decimation,
                                                                    uint8_t* value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Decimation_SetDecimationY(PLOX_IPL_DECIMATION_HANDLE decimation,
                                                                    uint8_t value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Decimation_GetDecimationY(PLOX_IPL_DECIMATION_HANDLE decimation,
                                                                    uint8_t* value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Decimation_GetDecimationMin(PLOX_IPL_DECIMATION_HANDLE decimation,
                                                                      uint8_t* value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Decimation_GetDecimationMax(PLOX_IPL_DECIMATION_HANDLE decimation,
                                                                      uint8_t* value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Decimation_IsPixelFormatSupported(PLOX_IPL_DECIMATION_HANDLE decimation,
                                                                            uint32_t pixelFormatName,
                                                                            uint8_t* supported);
/* The size Process gives for an input of that size and format: whole blocks only. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Decimation_ExpectedOutputSize(PLOX_IPL_DECIMATION_HANDLE decimation,
                                                                        size_t inputWidth, size_t inputHeight,
                                                                        uint32_t pixelFormatName,
                                                                        size_t* outputWidth, size_t* outputHeight);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Decimation_Process(PLOX_IPL_DECIMATION_HANDLE decimation,
                                                             PLOX_IPL_IMAGE_HANDLE input,
                                                             PLOX_IPL_IMAGE_HANDLE* output);

PLOX_IPL_EXTERN_C_END

#endif
