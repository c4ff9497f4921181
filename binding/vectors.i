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

// += and -= hand the iterator over to their result before it moves, so a refused step would
// leave the wrapper empty and the iterator unowned: the step is tried on a copy first.
%pythonprepend swig::SwigPyIterator::operator+= %{
    if isinstance(n, int):
        self.copy().advance(n)
%}
%pythonprepend swig::SwigPyIterator::operator-= %{
    if isinstance(n, int):
        self.copy().advance(-n)
%}

%include <std_container.i>

// Python iteration (iterator(), for) walks forward only, within the list; begin(), end() and the
// positions insert and erase return move both ways without bounds, as C++ iterators do.
%fragment("PloxOutputIterators", "header", fragment="SwigPyIterator_T") {
namespace swig {
// SWIG's open iterator inherits copy() from its forward-only base, so a copy (it + n, copy())
// could no longer step back: this one copies as itself.
template <typename OutIter>
class PloxIteratorOpen_T : public SwigPyIteratorOpen_T<OutIter> {
public:
    PloxIteratorOpen_T(OutIter current, PyObject* seq) : SwigPyIteratorOpen_T<OutIter>(current, seq) {}
    SwigPyIterator* copy() const override { return new PloxIteratorOpen_T(*this); }
};
template <typename OutIter>
inline SwigPyIterator* plox_output_iterator(const OutIter& current, PyObject* seq = 0) {
    return new PloxIteratorOpen_T<OutIter>(current, seq);
}
template <typename OutIter>
inline SwigPyIterator* plox_output_iterator(const OutIter& current, const OutIter& begin, const OutIter& end,
                                            PyObject* seq = 0) {
    return make_output_forward_iterator(current, begin, end, seq);
}
}
}
%fragment("PloxOutputIterators");
#undef %swig_sequence_iterator
%define %swig_sequence_iterator(Sequence...)
  %swig_sequence_iterator_with_making_function(swig::plox_output_iterator, Sequence...)
%enddef
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

// Pixel format names are passed by value: a refused element names its type without the reference.
%typemap(in, fragment=SWIG_AsVal_frag(int), noblock=1) std::vector<plox::ipl::PixelFormatName>::value_type const & ($*ltype temp, int val, int ecode = 0) {
  ecode = SWIG_AsVal(int)($input, &val);
  if (!SWIG_IsOK(ecode)) {
    %argument_fail(ecode, "$*ltype", $symname, $argnum);
  }
  temp = %static_cast(val, $*ltype);
  $1 = &temp;
}

%include "ipl/Histogram.h"
%include "ipl/PixelLine.h"

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
PLOX_VECTOR(VectorHistogramChannel, plox::ipl::HistogramChannel)
PLOX_VECTOR(VectorPixelLineChannel, plox::ipl::PixelLineChannel)
PLOX_VECTOR(VectorPoint2D, plox::ipl::Point2D)
