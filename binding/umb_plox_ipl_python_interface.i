// The Python extension module: the class layer, wrapped.
%module umb_plox_ipl_python_interface

// Only the long-running calls release the GIL; each names itself with %thread.
%nothread;

%include "runtime.i"

// The constants are installed in the order they are declared: the C API's video identifiers
// first, then the enumerations with their classes (ConversionMode ... InterpolationAlgorithm,
// HotpixelCorrection, ImageTransformer, Sharpness, Binning).
%constant int PLOX_IPL_VIDEO_CONTAINER_AVI = PLOX_IPL_VIDEO_CONTAINER_AVI;
%constant int PLOX_IPL_VIDEO_ENCODER_RAW = PLOX_IPL_VIDEO_ENCODER_RAW;
%constant int PLOX_IPL_VIDEO_ENCODER_MJPEG = PLOX_IPL_VIDEO_ENCODER_MJPEG;
%constant int PLOX_IPL_VIDEO_ENCODER_OPTION_QUALITY = PLOX_IPL_VIDEO_ENCODER_OPTION_QUALITY;
%constant int PLOX_IPL_VIDEO_CONTAINER_OPTION_FRAMERATE = PLOX_IPL_VIDEO_CONTAINER_OPTION_FRAMERATE;

%include "exceptions.i"
%include "lifetime.i"
%include "library.i"
%include "types.i"
%include "pixel_format.i"
%include "buffers.i"
%include "image.i"
%include "pixel_line.i"
%include "histogram.i"
%include "vectors.i"
%include "hotpixel_correction.i"
%include "image_transformer.i"
%include "sharpness.i"
%include "image_converter.i"
%include "binning.i"
%include "color_corrector.i"
%include "edge_enhancement.i"
%include "decimation.i"
%include "gamma_corrector.i"
%include "gain.i"
%include "image_io.i"
%include "video.i"
