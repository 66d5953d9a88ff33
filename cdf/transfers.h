/// Reading and writing the values of variables: requests that the library could not bear are
/// refused with its own status, or made in another way.
#pragma once

#include "cdf/functions.h"
#include "cdf/lists.h"

namespace tarvik::cdf {

/// One value. The indices are in the library's order, one for each dimension.
struct ValuePlace {
  long record;
  Longs indices;
};

/// What decides how a variable's records can be read and written without harm.
struct Records {
  bool vary;
  bool sparse;
};

CDFstatus readValue(CDFid file, long variable, const Records& records, const ValuePlace& place,
                    void* value);
CDFstatus writeValue(CDFid file, long variable, const Records& records, const ValuePlace& place,
                     const void* value);

CDFstatus readRecord(CDFid file, long variable, const Records& records, long record, void* values);
CDFstatus writeRecord(CDFid file, long variable, const Records& records, long record,
                      const void* values);

/// A run of records, each cut to a block of the dimensions, with strides. The lists are in the
/// library's order, one entry for each dimension.
struct Hyperslab {
  long recordStart;
  long recordCount;
  long recordInterval;
  Longs indices;
  Longs counts;
  Longs intervals;
};

CDFstatus readHyperslab(CDFid file, long variable, const Records& records, Hyperslab slab,
                        void* values);
CDFstatus writeHyperslab(CDFid file, long variable, const Records& records, const Hyperslab& slab,
                         const void* values);

}  // namespace tarvik::cdf
