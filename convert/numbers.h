/// Numbers between the host, where all are doubles, and the CDF library, where all are longs.
#pragma once

#include "cdf/lists.h"
#include "host/array.h"

namespace tarvik {

/// The value of a double scalar, truncated toward zero. The bounds are those of 32 bits although a
/// long is wider: the library cuts what is larger without a word. A NaN gives -2147483648, which
/// the library refuses. Raises "argumentNotDoubleScalar", "wrongNumberOfElements" or "outOfRange"
/// of unpackLongScalar.
long unpackLongScalar(const vlArray* argument);

/// The values of a double array of any shape and length, in storage order, each as above. Raises
/// "argumentNotDouble" or "outOfRange" of unpackVector.
Longs unpackVector(const vlArray* argument);

/// The same for some elements of such an array.
void unpackElements(const double* elements, std::size_t count, long* values);

/// A new double scalar.
vlArray* packUpLong(long value);

/// Gives a double scalar another value: where the scalar must be had before the library changes a
/// file, which memory that is short must not leave half done.
void setLong(vlArray* scalar, long value);

}  // namespace tarvik
