// Decimation, with the GIL released around the pixel work.
%ignore plox::ipl::Decimation::operator=;
// The move constructor is C++-only: from Python a decimation is shared, never moved.
%warnfilter(509) plox::ipl::Decimation::Decimation;

%thread plox::ipl::Decimation::Process;

%include "ipl/Decimation.h"
