// Gain, with the GIL released around the pixel work.
%ignore plox::ipl::Gain::operator=;
// The move constructor is C++-only: from Python a gain is shared, never moved.
%warnfilter(509) plox::ipl::Gain::Gain;

%thread plox::ipl::Gain::Process;
%thread plox::ipl::Gain::ProcessInPlace;

%include "ipl/Gain.h"
