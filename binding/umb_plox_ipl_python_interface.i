// The Python extension module: the class layer, wrapped.
%module umb_plox_ipl_python_interface

// Only the long-running calls release the GIL; each names itself with %thread.
%nothread;

%include "runtime.i"
%include "exceptions.i"
%include "lifetime.i"
%include "library.i"
%include "types.i"
%include "pixel_format.i"
%include "buffers.i"
%include "image.i"
%include "pixel_line.i"
%include "histogram.i"
%include "sharpness.i"
%include "vectors.i"
%include "hotpixel_correction.i"
%include "image_converter.i"
%include "image_transformer.i"
%include "binning.i"
%include "color_corrector.i"
%include "edge_enhancement.i"
%include "decimation.i"
%include "gamma_corrector.i"
%include "gain.i"
%include "image_io.i"
%include "video.i"
