/* Gain: each value of an unpacked mono or Bayer image times the master gain and, in a mosaic, the
 * gain of its site's filter colour (mono: the master gain alone); rounded half up, saturated. */
#ifndef UMB_PLOX_IPL_GAIN_H
#define UMB_PLOX_IPL_GAIN_H

#include <stdint.h>

#include "export.h"
#include "image.h"
#include "return_codes.h"

typedef struct PLOX_IPL_Gain_* PLOX_IPL_GAIN_HANDLE;

PLOX_IPL_EXTERN_C_BEGIN

/* Every gain 1.0, the identity. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_Construct(PLOX_IPL_GAIN_HANDLE* gain);
/* A new handle to the same object: the gains are shared. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_Clone(PLOX_IPL_GAIN_HANDLE gain, PLOX_IPL_GAIN_HANDLE* clone);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_Destruct(PLOX_IPL_GAIN_HANDLE gain);
/* Setters: INVALID_ARGUMENT for values outside Min to Max and NaN; the old value stays. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_SetMasterGainValue(PLOX_IPL_GAIN_HANDLE gain, float value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_GetMasterGainValue(PLOX_IPL_GAIN_HANDLE gain, float* value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_GetMasterGainMin(PLOX_IPL_GAIN_HANDLE gain, float* value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_GetMasterGainMax(PLOX_IPL_GAIN_HANDLE gain, float* value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_SetRedGainValue(PLOX_IPL_GAIN_HANDLE gain, float value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_GetRedGainValue(PLOX_IPL_GAIN_HANDLE gain, float* value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_GetRedGainMin(PLOX_IPL_GAIN_HANDLE gain, float* value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_GetRedGainMax(PLOX_IPL_GAIN_HANDLE gain, float* value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_SetGreenGainValue(PLOX_IPL_GAIN_HANDLE gain, float value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_GetGreenGainValue(PLOX_IPL_GAIN_HANDLE gain, float* value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_GetGreenGainMin(PLOX_IPL_GAIN_HANDLE gain, float* value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_GetGreenGainMax(PLOX_IPL_GAIN_HANDLE gain, float* value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_SetBlueGainValue(PLOX_IPL_GAIN_HANDLE gain, float value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_GetBlueGainValue(PLOX_IPL_GAIN_HANDLE gain, float* value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_GetBlueGainMin(PLOX_IPL_GAIN_HANDLE gain, float* value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_GetBlueGainMax(PLOX_IPL_GAIN_HANDLE gain, float* value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_IsPixelFormatSupported(PLOX_IPL_GAIN_HANDLE gain,
                                                                      uint32_t pixelFormatName, uint8_t* supported);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_Process(PLOX_IPL_GAIN_HANDLE gain, PLOX_IPL_IMAGE_HANDLE input,
                                                       PLOX_IPL_IMAGE_HANDLE* output);
/* Nothing is written when the format is refused. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Gain_ProcessInPlace(PLOX_IPL_GAIN_HANDLE gain, PLOX_IPL_IMAGE_HANDLE image);

PLOX_IPL_EXTERN_C_END

#endif
