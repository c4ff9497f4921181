// Sizes, points, scale factors, rectangles and the four range instantiations.
%ignore plox::ipl::detail::AlmostEqual;

%include "ipl/Types.h"

%template(RangeDouble) plox::ipl::Range<double>;
%template(RangeUint32) plox::ipl::Range<uint32_t>;
%template(RangeInt32) plox::ipl::Range<int32_t>;
%template(RangeUInt8) plox::ipl::Range<uint8_t>;
