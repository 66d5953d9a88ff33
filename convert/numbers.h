/// Numbers between the host, where all are doubles, and the CDF library, where all are longs.
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

}  // namespace tarvik
