// Binning, with the GIL released around the pixel work.
%ignore plox::ipl::Binning::operator=;
// The move constructor is C++-only: from Python a binning is shared, never moved.
%warnfilter(509) plox::ipl::Binning::Binning;

%thread plox::ipl::Binning::Process;

%include "ipl/Binning.h"

// The mode constants also under their flat names, beside the other module constants.
%pythoncode %{
Binning_BinningMode_Average = Binning.BinningMode_Average
Binning_BinningMode_Sum = Binning.BinningMode_Sum
%}
