// The list types: SWIG's standard vectors, with its sequence protocol and iterators.

// Comparing or subtracting iterators of different lists is a wrong value, as in distance().
%catches(std::invalid_argument) swig::SwigPyIterator::operator==;
%catches(std::invalid_argument) swig::SwigPyIterator::operator!=;
%catches(std::invalid_argument) swig::SwigPyIterator::operator-;

// incr and decr give the iterator itself back: keep the Python object that owns it, so that a
// chained call on a temporary never reaches a freed iterator.
%pythonappend swig::SwigPyIterator::incr %{
    val = self
%}
%pythonappend swig::SwigPyIterator::decr %{
    val = self
%}

%include <std_vector.i>

// Enumeration elements are plain values, converted like any enumeration argument.
%fragment(SWIG_Traits_frag(plox::ipl::PixelFormatName), "header", fragment="StdTraits") {
namespace swig {
template <> struct traits<plox::ipl::PixelFormatName> {
    typedef value_category category;
    static const char* type_name() { return "plox::ipl::PixelFormatName"; }
};
}
}

%include "ipl/Histogram.h"
%include "ipl/PixelLine.h"
%include "ipl/Sharpness.h"

// Slices that start at or past their end are empty, as for Python lists; an empty list has no
// front or back element to hand out.
%define PLOX_VECTOR(NAME, TYPE)
%pythonprepend std::vector<TYPE>::__getitem__ %{
    if isinstance(args[0], slice) and len(range(*args[0].indices(len(self)))) == 0 and args[0].step != 0:
        return NAME()
%}
%pythonprepend std::vector<TYPE>::__delitem__ %{
    if isinstance(args[0], slice) and len(range(*args[0].indices(len(self)))) == 0 and args[0].step != 0:
        return None
%}
%pythonprepend std::vector<TYPE>::front %{
    if not self:
        raise IndexError("front() of an empty container")
%}
%pythonprepend std::vector<TYPE>::back %{
    if not self:
        raise IndexError("back() of an empty container")
%}
%template(NAME) std::vector<TYPE>;
%enddef

PLOX_VECTOR(VectorInt32, int32_t)
PLOX_VECTOR(VectorUInt32, uint32_t)
PLOX_VECTOR(VectorUInt64, uint64_t)
PLOX_VECTOR(VectorVideo, unsigned short)
PLOX_VECTOR(PixelFormatList, plox::ipl::PixelFormatName)
PLOX_VECTOR(SharpnessROIList, plox::ipl::SharpnessROI)
PLOX_VECTOR(VectorHistogramChannel, plox::ipl::HistogramChannel)
PLOX_VECTOR(VectorPixelLineChannel, plox::ipl::PixelLineChannel)
PLOX_VECTOR(VectorPoint2D, plox::ipl::Point2D)
