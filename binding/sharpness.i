// Sharpness and its list of regions, SharpnessROIList. Measuring keeps the GIL.
%ignore plox::ipl::Sharpness::operator=;
// The move constructor is C++-only: from Python a measurement is shared, never moved.
%warnfilter(509) plox::ipl::Sharpness::Sharpness;
// The first and third SetROI take the same record under its two names; the first answers.
%warnfilter(509) plox::ipl::Sharpness::SetROI;

// The list class is made after this class: a plain sequence of regions becomes one here, and
// anything it refuses reaches the wrapper, which names the argument.
%pythonprepend plox::ipl::Sharpness::SetROIs %{
    if rois is not None and not isinstance(rois, SharpnessROIList):
        try:
            rois = SharpnessROIList(rois)
        except TypeError:
            pass
%}

%include "ipl/Sharpness.h"
PLOX_VECTOR(SharpnessROIList, plox::ipl::SharpnessROI)

// The enumerations also under their flat names, beside the other module constants.
%pythoncode %{
Sharpness_SharpnessAlgorithm_Tenengrad = _umb_plox_ipl_python_interface.Sharpness_SharpnessAlgorithm_Tenengrad
Sharpness_SharpnessAlgorithm_MeanScore = _umb_plox_ipl_python_interface.Sharpness_SharpnessAlgorithm_MeanScore
Sharpness_SharpnessAlgorithm_HistogramVariance = _umb_plox_ipl_python_interface.Sharpness_SharpnessAlgorithm_HistogramVariance
Sharpness_SharpnessAlgorithm_Sobel = _umb_plox_ipl_python_interface.Sharpness_SharpnessAlgorithm_Sobel
Sharpness_SharpnessROIWeight_Weak = _umb_plox_ipl_python_interface.Sharpness_SharpnessROIWeight_Weak
Sharpness_SharpnessROIWeight_Medium = _umb_plox_ipl_python_interface.Sharpness_SharpnessROIWeight_Medium
Sharpness_SharpnessROIWeight_Strong = _umb_plox_ipl_python_interface.Sharpness_SharpnessROIWeight_Strong
%}
