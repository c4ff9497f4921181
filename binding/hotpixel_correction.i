// HotpixelCorrection, with the GIL released around the pixel work.
%ignore plox::ipl::HotpixelCorrection::operator=;
// The move constructor is C++-only: from Python a hotpixel correction is shared, never moved.
%warnfilter(509) plox::ipl::HotpixelCorrection::HotpixelCorrection;

%thread plox::ipl::HotpixelCorrection::Detect;
%thread plox::ipl::HotpixelCorrection::Correct;
%thread plox::ipl::HotpixelCorrection::CorrectInPlace;
%thread plox::ipl::HotpixelCorrection::CorrectAdaptive;
%thread plox::ipl::HotpixelCorrection::CorrectAdaptiveInPlace;

%include "ipl/HotpixelCorrection.h"

// The sensitivity constants also under their flat names, beside the other module constants.
%pythoncode %{
HotpixelCorrection_SensitivityLevel_Invalid = HotpixelCorrection.SensitivityLevel_Invalid
HotpixelCorrection_SensitivityLevel_SensitivityLevel1 = HotpixelCorrection.SensitivityLevel_SensitivityLevel1
HotpixelCorrection_SensitivityLevel_SensitivityLevel2 = HotpixelCorrection.SensitivityLevel_SensitivityLevel2
HotpixelCorrection_SensitivityLevel_SensitivityLevel3 = HotpixelCorrection.SensitivityLevel_SensitivityLevel3
HotpixelCorrection_SensitivityLevel_SensitivityLevel4 = HotpixelCorrection.SensitivityLevel_SensitivityLevel4
HotpixelCorrection_SensitivityLevel_SensitivityLevel5 = HotpixelCorrection.SensitivityLevel_SensitivityLevel5
%}
