// ColorCorrectionFactors and ColorCorrector, with the GIL released around the pixel work.
%ignore plox::ipl::ColorCorrectionFactors::operator=;
%ignore plox::ipl::ColorCorrector::operator=;
// The move constructors are C++-only: Python copies factor sets and shares correctors.
%ignore plox::ipl::ColorCorrectionFactors::ColorCorrectionFactors(ColorCorrectionFactors&&);
// Nine arguments always mean the nine factors, so a non-number is refused by its position.
%typemap(typecheck, precedence=SWIG_TYPECHECK_FLOAT) float facRR, float facGR, float facBR, float facRG,
    float facGG, float facBG, float facRB, float facGB, float facBB "$1 = 1;"
%warnfilter(509) plox::ipl::ColorCorrector::ColorCorrector;

%thread plox::ipl::ColorCorrector::Process;
%thread plox::ipl::ColorCorrector::ProcessInPlace;

%include "ipl/ColorCorrectionFactors.h"
%include "ipl/ColorCorrector.h"
