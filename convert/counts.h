/// Counts of elements: products of the library's longs with every multiplication checked.
#pragma once

#include <cstddef>

#include "cdf/library.h"

namespace tarvik {

/// The product of all factors, 1 for none. Raises "VORLAN:tarvik:<operation>:badCount" where it
/// does not fit; negative factors count like any other.
long elementCount(const char* operation, const Longs& factors);

/// The dimensions of an array to be made. Raises badCount, as above, for a negative dimension too.
Sizes arrayDimensions(const char* operation, const Longs& dims);

}  // namespace tarvik
