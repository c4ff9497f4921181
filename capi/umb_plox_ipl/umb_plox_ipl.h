/* The whole C interface of libumb_plox_ipl. */
#ifndef UMB_PLOX_IPL_H
#define UMB_PLOX_IPL_H

#include "binning.h"
#include "color_corrector.h"
#include "edge_enhancement.h"
#include "decimation.h"
#include "gain.h"
#include "gamma_corrector.h"
#include "histogram.h"
#include "hotpixel_correction.h"
#include "image.h"
#include "image_converter.h"
#include "image_io.h"
#include "image_transformer.h"
#include "library.h"
#include "pixel_format.h"
#include "pixel_line.h"
#include "sharpness.h"
#include "video.h"

#endif
