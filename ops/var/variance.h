/// Variances between the user's logicals or doubles and the library's codes.
#pragma once

#include "cdf/library.h"
#include "host/array.h"

namespace tarvik::ops {

/// VARY or NOVARY for each element: a logical true, or the double -1, is VARY; a logical false, or
/// the double 0, is NOVARY. Raises "illegalVariance" or "wrongDatatype" of unpackVariance.
Longs unpackVariance(const vlArray* argument);

/// A new 1-by-n logical array, or an empty one. Raises "failure" of packUpVariance for a code that
/// is neither VARY nor NOVARY.
vlArray* packUpVariance(const Longs& variances);

}  // namespace tarvik::ops
