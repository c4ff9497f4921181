// ImageConverter.
%ignore plox::ipl::ImageConverter::operator=;

%thread plox::ipl::ImageConverter::Convert;
%thread plox::ipl::ImageConverter::PreAllocateConversion;

%include "ipl/ImageConverter.h"
