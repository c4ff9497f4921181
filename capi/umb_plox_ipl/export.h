/* Symbol visibility and C linkage for the public C interface. */
#ifndef UMB_PLOX_IPL_EXPORT_H
#define UMB_PLOX_IPL_EXPORT_H

#if defined(SWIG)
#  define PLOX_IPL_API
#elif defined(_WIN32)
#  if defined(UMB_PLOX_IPL_BUILDING)
#    define PLOX_IPL_API __declspec(dllexport)
#  else
#    define PLOX_IPL_API __declspec(dllimport)
#  endif
#else
#  define PLOX_IPL_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
#  define PLOX_IPL_EXTERN_C_BEGIN extern "C" {
#  define PLOX_IPL_EXTERN_C_END }
#else
#  define PLOX_IPL_EXTERN_C_BEGIN
#  define PLOX_IPL_EXTERN_C_END
#endif

#endif
