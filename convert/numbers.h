/// Numbers between the host, where all are doubles, and the CDF library, where all are longs; and
/// counts of elements, products of longs with every multiplication checked.
#pragma once

#include "cdf/library.h"
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

/// A new double scalar.
vlArray* packUpLong(long value);

/// Gives a double scalar another value. An operation that changes a file makes the scalar first, so
/// that short memory cannot leave the file changed and the call failed.
void setLong(vlArray* scalar, long value);

/// The product of all factors, 1 for none. Raises "VORLAN:tarvik:<operation>:badCount" if it does
/// not fit; negative factors count like any other.
long elementCount(const char* operation, const Longs& factors);

/// The dimensions of an array to be made. Raises badCount, as above, for a negative dimension too.
Sizes arrayDimensions(const char* operation, const Longs& dims);

}  // namespace tarvik
