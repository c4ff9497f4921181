// ImageConverter.
%ignore plox::ipl::ImageConverter::operator=;
// The move constructor is C++-only: from Python a converter is shared, never moved.
%warnfilter(509) plox::ipl::ImageConverter::ImageConverter;

%thread plox::ipl::ImageConverter::Convert;
%thread plox::ipl::ImageConverter::PreAllocateConversion;

%include "ipl/ImageConverter.h"
