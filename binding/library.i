// Library settings and its version.

// Library is never instantiated, so there is nothing to destroy either.
%nodefaultdtor plox::ipl::Library;

%include "ipl/Library.h"
