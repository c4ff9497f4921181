/* Per-channel histograms of an image, counted once when the histogram is made. */
#ifndef UMB_PLOX_IPL_HISTOGRAM_H
#define UMB_PLOX_IPL_HISTOGRAM_H

#include <stddef.h>
#include <stdint.h>

#include "export.h"
#include "image.h"
#include "return_codes.h"

typedef struct PLOX_IPL_Histogram_* PLOX_IPL_HISTOGRAM_HANDLE;

PLOX_IPL_EXTERN_C_BEGIN

/* Counts the image: one bin per value of the format's significant bits, one channel per stored
 * channel (Bayer mosaics: R, G and B). Packed and floating-point formats fail with
 * PLOX_IPL_RETURN_CODE_IMAGE_FORMAT_NOT_SUPPORTED. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Histogram_Construct(PLOX_IPL_IMAGE_HANDLE image,
                                                              PLOX_IPL_HISTOGRAM_HANDLE* histogram);
/* A new handle to the same histogram. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Histogram_Clone(PLOX_IPL_HISTOGRAM_HANDLE histogram,
                                                          PLOX_IPL_HISTOGRAM_HANDLE* clone);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Histogram_Destruct(PLOX_IPL_HISTOGRAM_HANDLE histogram);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Histogram_GetPixelFormat(PLOX_IPL_HISTOGRAM_HANDLE histogram,
                                                                   uint32_t* pixelFormatName);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Histogram_GetNumChannels(PLOX_IPL_HISTOGRAM_HANDLE histogram,
                                                                   size_t* numChannels);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Histogram_GetPixelSumForChannel(PLOX_IPL_HISTOGRAM_HANDLE histogram,
                                                                          size_t channel, uint64_t* pixelSum);
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Histogram_GetPixelCountForChannel(PLOX_IPL_HISTOGRAM_HANDLE histogram,
                                                                            size_t channel, uint64_t* pixelCount);
/* With bins == NULL, stores the number of bins in *binCount; then fills bins with *binCount
 * counters. */
PLOX_IPL_API PLOX_IPL_RETURN_CODE PLOX_IPL_Histogram_GetBinList(PLOX_IPL_HISTOGRAM_HANDLE histogram, size_t channel,
                                                               uint64_t* bins, size_t* binCount);

PLOX_IPL_EXTERN_C_END

#endif
