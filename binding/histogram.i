// Histogram. The header is wrapped by vectors.i, beside the vector of its HistogramChannel
// records, so these declarations come before it. Counting an image releases the GIL.
%ignore plox::ipl::Histogram::operator=;
// The move constructor is listed among the overloads but shadowed by the copy: from Python a
// histogram is shared, never moved.
%warnfilter(509) plox::ipl::Histogram::Histogram;

%thread plox::ipl::Histogram::Histogram(plox::ipl::Image const &);
