// Standard library support, the NumPy C-API import and the headers every wrapper needs.

%begin %{
#define NPY_NO_DEPRECATED_API NPY_1_7_API_VERSION
// Built against NumPy 2 headers, runs on NumPy 1.16 and later.
#define NPY_TARGET_VERSION NPY_1_16_API_VERSION
%}

%{
#include <numpy/arrayobject.h>

#include "ipl/Exception.h"
#include "ipl/Binning.h"
#include "ipl/ColorCorrector.h"
#include "ipl/EdgeEnhancement.h"
#include "ipl/Decimation.h"
#include "ipl/Gain.h"
#include "ipl/GammaCorrector.h"
#include "ipl/Histogram.h"
#include "ipl/HotpixelCorrection.h"
#include "ipl/Image.h"
#include "ipl/ImageConverter.h"
#include "ipl/ImageReader.h"
#include "ipl/ImageTransformer.h"
#include "ipl/ImageWriter.h"
#include "ipl/Library.h"
#include "ipl/PixelFormat.h"
#include "ipl/PixelLine.h"
#include "ipl/Sharpness.h"
#include "ipl/Types.h"
#include "ipl/VideoWriter.h"
%}

// A call that fits none of the overloads is answered with the list of prototypes alone, even
// when unpacking the arguments already complained about their number.
%{
#define SWIG_Python_RaiseOrModifyTypeError(message) PyErr_SetString(PyExc_TypeError, message)
%}

%include <stdint.i>
%include <std_string.i>
%include <std_except.i>
%include <std_shared_ptr.i>

%init %{
import_array();
%}
