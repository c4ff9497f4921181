// GammaCorrector, with the GIL released around the pixel work.
%ignore plox::ipl::GammaCorrector::operator=;
// The move constructor is C++-only: from Python a gamma corrector is shared, never moved.
%warnfilter(509) plox::ipl::GammaCorrector::GammaCorrector;

%thread plox::ipl::GammaCorrector::Process;
%thread plox::ipl::GammaCorrector::ProcessInPlace;

%include "ipl/GammaCorrector.h"
