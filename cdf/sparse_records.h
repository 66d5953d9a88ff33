/// Transfers of variables whose sparse records are compressed.
#pragma once

#include "cdf/descriptions.h"
#include "cdf/transfers.h"

namespace tarvik::cdf {

/// Reads whole records into room of its own and takes from there what was asked for, or puts what
/// is to be written there and writes the whole record, since the library overruns the caller's room
/// and its own: what it does stands in sparse_records.cpp.
class SparseRecords {
 public:
  SparseRecords(CDFid file, long variable);

  /// Whether the variable is compressed and can be described. Any other one is the library's own.
  bool isNeeded() const { return needed_; }
  /// Whether it is needed and the slab lies inside the records. One that does not the library
  /// refuses before it does anything.
  bool serves(const Hyperslab& slab) const { return needed_ && covers(slab); }
  const RecordLayout& layout() const { return layout_; }

  /// A record's stored values.
  CDFstatus readRecord(long record, void* values) const;
  /// A slab that it serves.
  CDFstatus readSlab(const Hyperslab& slab, void* values) const;
  CDFstatus writeSlab(const Hyperslab& slab, const void* values) const;

 private:
  bool covers(const Hyperslab& slab) const;
  template <typename Move>
  void eachValue(const Hyperslab& slab, char* record, const Move& move,
                 std::size_t depth = 0) const;
  template <typename Use>
  CDFstatus readRoomily(long record, Use use) const;

  CDFid file_;
  long variable_;
  RecordLayout layout_;
  long lastRecord_ = -1;
  bool needed_;
};

}  // namespace tarvik::cdf
