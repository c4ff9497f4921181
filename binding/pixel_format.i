// Pixel format names and layout queries.

// None is a Python keyword.
%rename(_None) plox::ipl::BayerPattern::None;
%ignore plox::ipl::PixelFormat::operator=;

%import "umb_plox_ipl/pixel_format_names.h"
%include "ipl/PixelFormat.h"
