// The same checks with the header read as C++.
#include "header_c99.c"  // NOLINT(bugprone-suspicious-include)
