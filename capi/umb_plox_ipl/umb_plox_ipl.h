/* The whole C interface of libumb_plox_ipl. */
#ifndef UMB_PLOX_IPL_H
#define UMB_PLOX_IPL_H

#include "image.h"
#include "image_converter.h"
#include "image_io.h"
#include "library.h"
#include "pixel_format.h"

#endif
