// Library settings and its version.
%include "ipl/Library.h"
