/* GammaCorrector: out = round(max * (in / max) ^ (1 / gamma)) on every colour or grey value of an
 * unpacked mono, Bayer or RGB-family image; alpha is kept. */
#ifndef UMB_PLOX_IPL_GAMMA_CORRECTOR_H
#define UMB_PLOX_IPL_GAMMA_CORRECTOR_H

#include <stdint.h>

#include "export.h"
#include "image.h"
#include "return_codes.h"

typedef struct PLOX_IPL_GammaCorrector_* PLOX_IPL_GAMMA_CORRECTOR_HANDLE;

PLOX_IPL_EXTERN_C_BEGIN

/* Gamma 1.0, the identity. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_GammaCorrector_Construct(PLOX_IPL_GAMMA_CORRECTOR_HANDLE* corrector);
/* A new handle to the same object: the gamma value is shared. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_GammaCorrector_Clone(PLOX_IPL_GAMMA_CORRECTOR_HANDLE corrector,
                                                               PLOX_IPL_GAMMA_CORRECTOR_HANDLE* clone);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_GammaCorrector_Destruct(PLOX_IPL_GAMMA_CORRECTOR_HANDLE corrector);
/* INVALID_ARGUMENT for values outside Min to Max and NaN; the old value stays. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_GammaCorrector_SetGammaCorrectionValue(
    PLOX_IPL_GAMMA_CORRECTOR_HANDLE corrector, float value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_GammaCorrector_GetGammaCorrectionValue(
    PLOX_IPL_GAMMA_CORRECTOR_HANDLE corrector, float* value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_GammaCorrector_GetGammaCorrectionMin(
    PLOX_IPL_GAMMA_CORRECTOR_HANDLE corrector, float* value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_GammaCorrector_GetGammaCorrectionMax(
    PLOX_IPL_GAMMA_CORRECTOR_HANDLE corrector, float* value);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_GammaCorrector_IsPixelFormatSupported(
    PLOX_IPL_GAMMA_CORRECTOR_HANDLE corrector, uint32_t pixelFormatName, uint8_t* supported);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_GammaCorrector_Process(PLOX_IPL_GAMMA_CORRECTOR_HANDLE corrector,
                                                                 PLOX_IPL_IMAGE_HANDLE input,
                                                                 PLOX_IPL_IMAGE_HANDLE* output);
/* Nothing is written when the format is refused. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_GammaCorrector_ProcessInPlace(PLOX_IPL_GAMMA_CORRECTOR_HANDLE corrector,
                                                                        PLOX_IPL_IMAGE_HANDLE image);

PLOX_IPL_EXTERN_C_END

#endif
