// The list types: SWIG's standard vectors, with its sequence protocol and iterators.
%include <std_vector.i>

%include "ipl/Histogram.h"
%include "ipl/PixelLine.h"
%include "ipl/Sharpness.h"

%template(VectorInt32) std::vector<int32_t>;
%template(VectorUInt32) std::vector<uint32_t>;
%template(VectorUInt64) std::vector<uint64_t>;
%template(VectorVideo) std::vector<unsigned short>;
%template(PixelFormatList) std::vector<plox::ipl::PixelFormatName>;
%template(SharpnessROIList) std::vector<plox::ipl::SharpnessROI>;
%template(VectorHistogramChannel) std::vector<plox::ipl::HistogramChannel>;
%template(VectorPixelLineChannel) std::vector<plox::ipl::PixelLineChannel>;
%template(VectorPoint2D) std::vector<plox::ipl::Point2D>;
