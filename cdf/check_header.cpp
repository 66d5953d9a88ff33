// Compiled only with TARVIK_CHECK_CDF_HEADER: the project's declarations against the library's own
// header. Both are included, so a prototype that differs does not compile; the codes are compared.
#include <cdf.h>

#include "cdf/functions.h"

#define CDF_ITEM(name, value) static_assert((name) == (value), #value);
#include "cdf/items.def"
#undef CDF_ITEM
