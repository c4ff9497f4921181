// EdgeEnhancement, with the GIL released around the pixel work.
%ignore plox::ipl::EdgeEnhancement::operator=;
// The move constructor is C++-only: from Python an edge enhancement is shared, never moved.
%warnfilter(509) plox::ipl::EdgeEnhancement::EdgeEnhancement;

%thread plox::ipl::EdgeEnhancement::Process;
%thread plox::ipl::EdgeEnhancement::ProcessInPlace;

%include "ipl/EdgeEnhancement.h"
