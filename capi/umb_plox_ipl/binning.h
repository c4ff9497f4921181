/* Binning: each block of BinningX by BinningY pixels becomes one pixel, their average or sum.
 * Bayer mosaics are binned colour by colour and stay mosaics of the same pattern. */
#ifndef UMB_PLOX_IPL_BINNING_H
#define UMB_PLOX_IPL_BINNING_H

#include <stddef.h>
#include <stdint.h>

#include "export.h"
#include "image.h"
#include "return_codes.h"

typedef struct PLOX_IPL_Binning_* PLOX_IPL_BINNING_HANDLE;

typedef enum PLOX_IPL_BINNING_MODE {
    PLOX_IPL_BINNING_MODE_AVERAGE = 0, /* rounded half up */
    PLOX_IPL_BINNING_MODE_SUM = 1      /* saturated at the format's maximum */
} PLOX_IPL_BINNING_MODE;

PLOX_IPL_EXTERN_C_BEGIN

/* Factors 1 by 1, PLOX_IPL_BINNING_MODE_AVERAGE. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Binning_Construct(PLOX_IPL_BINNING_HANDLE* binning);
/* A new handle to the same object: factors and mode are shared. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Binning_Clone(PLOX_IPL_BINNING_HANDLE binning,
                                                        PLOX_IPL_BINNING_HANDLE* clone);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Binning_Destruct(PLOX_IPL_BINNING_HANDLE binning);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Binning_SetBinningX(PLOX_IPL_BINNING_HANDLE binning, uint8_t value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Binning_GetBinningX(PLOX_IPL_BINNING_HANDLE binning, uint8_t* value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Binning_SetBinningY(PLOX_IPL_BINNING_HANDLE binning, uint8_t value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Binning_GetBinningY(PLOX_IPL_BINNING_HANDLE binning, uint8_t* value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Binning_GetBinningMin(PLOX_IPL_BINNING_HANDLE binning, uint8_t* value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Binning_GetBinningMax(PLOX_IPL_BINNING_HANDLE binning, uint8_t* value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Binning_SetMode(PLOX_IPL_BINNING_HANDLE binning, int32_t mode);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Binning_GetMode(PLOX_IPL_BINNING_HANDLE binning, int32_t* mode);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Binning_IsPixelFormatSupported(PLOX_IPL_BINNING_HANDLE binning,
                                                                         uint32_t pixelFormatName,
                                                                         uint8_t* supported);
/* The size Process gives for an input of that size and format: whole blocks only. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Binning_ExpectedOutputSize(PLOX_IPL_BINNING_HANDLE binning,
                                                                     size_t inputWidth, size_t inputHeight,
                                                                     uint32_t pixelFormatName, size_t* outputWidth,
                                                                     size_t* outputHeight);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Binning_Process(PLOX_IPL_BINNING_HANDLE binning, PLOX_IPL_IMAGE_HANDLE input,
                                                          PLOX_IPL_IMAGE_HANDLE* output);

PLOX_IPL_EXTERN_C_END

#endif
