/* Process-wide library state: version, last error, threading and SIMD settings. */
#ifndef UMB_PLOX_IPL_LIBRARY_H
#define UMB_PLOX_IPL_LIBRARY_H

#include <stddef.h>
#include <stdint.h>

#include "export.h"
#include "return_codes.h"

PLOX_IPL_EXTERN_C_BEGIN

/* Code and text of the calling thread's most recent failure. With description == NULL,
 * stores the buffer size needed (terminating zero included) in *descriptionSize; with a
 * buffer of at least that size, fills it. A thread that never failed reports
 * PLOX_IPL_RETURN_CODE_SUCCESS and an empty text. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Library_GetLastError(int32_t* lastErrorCode, char* description,
                                                                size_t* descriptionSize);

PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Library_GetVersionMajor(uint32_t* major);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Library_GetVersionMinor(uint32_t* minor);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Library_GetVersionSubminor(uint32_t* subminor);

/* 0 lets the library decide (one worker per core). */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Library_GetMaxConcurrentThreads(size_t* count);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Library_SetMaxConcurrentThreads(size_t count);

PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Library_GetMultiThreadingEnabled(uint8_t* enabled);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Library_SetMultiThreadingEnabled(uint8_t enabled);

PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Library_GetSIMDEnabled(uint8_t* enabled);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Library_SetSIMDEnabled(uint8_t enabled);

PLOX_IPL_EXTERN_C_END

#endif
