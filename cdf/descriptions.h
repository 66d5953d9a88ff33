/// What the library says of a file or variable, for those who must know before they make a request.
#pragma once

#include "cdf/functions.h"
#include "cdf/lists.h"

namespace tarvik::cdf {

inline constexpr long unknownCompression = -1;

/// The type of compression of a file as a whole, or of a variable; unknownCompression where it
/// cannot be told.
long compressionOf(CDFid file);
long compressionOf(CDFid file, long variable);

/// How the values of a record of a variable are stored.
struct RecordLayout {
  RecordLayout(CDFid file, long variable);

  /// Without it there are no dimensions and no bytes.
  bool isKnown() const { return recordBytes > 0; }

  long valueBytes = 0;
  long recordBytes = 0;
  Longs sizes;    ///< The extents of the dimensions.
  Longs strides;  ///< In bytes; 0 for a dimension that does not vary.
  Longs order;    ///< The dimensions, from the slowest to the fastest.
};

}  // namespace tarvik::cdf
