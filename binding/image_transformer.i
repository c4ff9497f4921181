// ImageTransformer: mirroring and rotation, with the GIL released around the pixel work.
%ignore plox::ipl::ImageTransformer::operator=;
// The move constructor is reachable only through the overload order, after the copy.
%warnfilter(509) plox::ipl::ImageTransformer::ImageTransformer;

%thread plox::ipl::ImageTransformer::MirrorUpDown;
%thread plox::ipl::ImageTransformer::MirrorLeftRight;
%thread plox::ipl::ImageTransformer::MirrorUpDownLeftRight;
%thread plox::ipl::ImageTransformer::Rotate;
%thread plox::ipl::ImageTransformer::MirrorUpDownInPlace;
%thread plox::ipl::ImageTransformer::MirrorLeftRightInPlace;
%thread plox::ipl::ImageTransformer::MirrorUpDownLeftRightInPlace;
%thread plox::ipl::ImageTransformer::RotateInPlace;

%include "ipl/ImageTransformer.h"

// The angles also under their flat names, beside ImageTransformer.RotationAngle_...
%pythoncode %{
ImageTransformer_RotationAngle_Degree90Counterclockwise = ImageTransformer.RotationAngle_Degree90Counterclockwise
ImageTransformer_RotationAngle_Degree90Clockwise = ImageTransformer.RotationAngle_Degree90Clockwise
ImageTransformer_RotationAngle_Degree180 = ImageTransformer.RotationAngle_Degree180
%}
