/// Transfers of variables whose records are both sparse and compressed. Each moves whole records
/// through a buffer of its own, since the library overruns the caller's memory: see
/// compressed_sparse.cpp.
#pragma once

#include "cdf/library.h"

namespace tarvik::extended {

class CompressedSparseRecords {
 public:
  /// Asks the library how the records of a variable, which are sparse, are stored.
  CompressedSparseRecords(CDFid file, long variable);

  /// False if the variable is not compressed.
  bool found() const { return found_; }
  /// Whether the slab lies inside the dimensions and begins at a record that can exist. The library
  /// refuses any other before it touches memory.
  bool contains(const cdf::Hyperslab& slab) const;

  /// The stored values of a record.
  CDFstatus getRecord(long record, void* values) const;
  CDFstatus getHyperslab(const cdf::Hyperslab& slab, void* values) const;
  CDFstatus putHyperslab(const cdf::Hyperslab& slab, const void* values) const;

 private:
  bool inquireLayout();
  template <typename Visit>
  void visitValues(const cdf::Hyperslab& slab, char* record, const Visit& visit,
                   std::size_t depth = 0) const;
  template <typename Use>
  CDFstatus withRecord(long record, Use use) const;

  CDFid file_;
  long variable_;
  long lastRecord_ = -1;
  long valueBytes_ = 0;
  long recordBytes_ = 0;
  Longs sizes_;    ///< The extents of the dimensions.
  Longs strides_;  ///< In bytes; 0 for a dimension that does not vary.
  Longs order_;    ///< The dimensions, from the slowest to the fastest.
  bool found_;
};

}  // namespace tarvik::extended
