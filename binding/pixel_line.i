// PixelLine, PixelRow and PixelColumn. The header is wrapped by vectors.i, beside the vector of
// its PixelLineChannel records, so these declarations come before it. Every call keeps the GIL.
%ignore plox::ipl::PixelLine::operator=;
%ignore plox::ipl::PixelRow::operator=;
%ignore plox::ipl::PixelColumn::operator=;
// The move constructors are reachable only through the overload order, after the copies.
%warnfilter(509) plox::ipl::PixelLine::PixelLine;
%warnfilter(509) plox::ipl::PixelRow::PixelRow;
%warnfilter(509) plox::ipl::PixelColumn::PixelColumn;

// A channel's Values list lives inside its record: the list's wrapper keeps the record alive, as
// an element's wrapper keeps its vector alive, so that line.Channels()[0].Values never dangles.
%typemap(ret, noblock=1) std::vector<uint32_t>* Values {
  if ($result && PyObject_SetAttrString($result, "__swig_container", $self) != 0) Py_CLEAR($result);
}
