/// The calls that move values of a variable: one value, one record, one hyperslab.
#pragma once

#include "cdf/library.h"

namespace tarvik::cdf {

/// A run of records, each cut to a block of the dimensions, with intervals. The lists are in the
/// library's order, one entry for each dimension.
struct Hyperslab {
  long recordStart;
  long recordCount;
  long recordInterval;
  Longs indices;
  Longs counts;
  Longs intervals;
};

inline CDFstatus getValue(CDFid file, long variable, long record, const Longs& indices,
                          void* value) {
  return onVariable(file, variable, zVAR_RECNUMBER_, record, zVAR_DIMINDICES_, indices.data(), GET_,
                    zVAR_DATA_, value);
}

inline CDFstatus putValue(CDFid file, long variable, long record, const Longs& indices,
                          const void* value) {
  return onVariable(file, variable, zVAR_RECNUMBER_, record, zVAR_DIMINDICES_, indices.data(), PUT_,
                    zVAR_DATA_, value);
}

inline CDFstatus getRecord(CDFid file, long variable, long record, void* values) {
  return CDFgetVarRecordData(file, zVariable, variable, record, values);
}

inline CDFstatus putRecord(CDFid file, long variable, long record, const void* values) {
  return CDFputVarRecordData(file, zVariable, variable, record, values);
}

/// `function` is GET_ or PUT_.
template <typename Values>
CDFstatus transferHyperslab(CDFid file, long variable, const Hyperslab& slab, long function,
                            Values* values) {
  return onVariable(file, variable, zVAR_RECNUMBER_, slab.recordStart, zVAR_RECCOUNT_,
                    slab.recordCount, zVAR_RECINTERVAL_, slab.recordInterval, zVAR_DIMINDICES_,
                    slab.indices.data(), zVAR_DIMCOUNTS_, slab.counts.data(), zVAR_DIMINTERVALS_,
                    slab.intervals.data(), function, zVAR_HYPERDATA_, values);
}

inline CDFstatus getHyperslab(CDFid file, long variable, const Hyperslab& slab, void* values) {
  return transferHyperslab(file, variable, slab, GET_, values);
}

inline CDFstatus putHyperslab(CDFid file, long variable, const Hyperslab& slab,
                              const void* values) {
  return transferHyperslab(file, variable, slab, PUT_, values);
}

}  // namespace tarvik::cdf
