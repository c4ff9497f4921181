// Sizes, points, scale factors, rectangles and the four range instantiations.
%ignore plox::ipl::detail::AlmostEqual;

%include "ipl/Types.h"

%template(RangeDouble) plox::ipl::Range<double>;
%template(RangeUint32) plox::ipl::Range<std::uint32_t>;
%template(RangeInt32) plox::ipl::Range<std::int32_t>;
%template(RangeUInt8) plox::ipl::Range<std::uint8_t>;
