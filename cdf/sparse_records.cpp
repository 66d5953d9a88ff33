// Seen with version 3.9.1 of the library, used directly: once a variable with compressed sparse
// records was written to, a read of a record that was not fills all records up to the next written
// one, wherever the caller's room ends: 72 bytes for a record of 24. A hyperslab of a part of the
// dimensions overruns memory of the library's own too, and so does writing one: a value of each of
// the records 6 and 7, where record 20 is there, breaks the heap.
#include "cdf/sparse_records.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "cdf/call.h"
#include "cdf/guards.h"

namespace tarvik::cdf {

SparseRecords::SparseRecords(CDFid file, long variable)
    : file_(file),
      variable_(variable),
      layout_(file, variable),
      needed_(compressionOf(file, variable) > NO_COMPRESSION && layout_.isKnown() &&
              onVariable(file, variable, GET_, zVAR_MAXREC_, &lastRecord_) >= 0) {}

bool SparseRecords::covers(const Hyperslab& slab) const {
  for (std::size_t i = 0; i < layout_.sizes.size(); ++i) {
    const long index = slab.indices[i], count = slab.counts[i], interval = slab.intervals[i];
    if (index < 0 || count < 1 || interval < 1 ||
        index + (count - 1) * interval >= layout_.sizes[i]) {
      return false;
    }
  }
  return slab.recordCount > 0 && slab.recordInterval > 0;
}

/// Calls `move` with the place of each of the record's values that belong to the slab, in its
/// order.
template <typename Move>
void SparseRecords::eachValue(const Hyperslab& slab, char* record, const Move& move,
                              std::size_t depth) const {
  if (depth == layout_.order.size()) {
    move(record);
    return;
  }
  const auto i = static_cast<std::size_t>(layout_.order[depth]);
  for (long n = 0; n < slab.counts[i]; ++n) {
    const long index = slab.indices[i] + n * slab.intervals[i];
    eachValue(slab, record + index * layout_.strides[i], move, depth + 1);
  }
}

/// Reads a record with room for all that are there from it on, and calls `use` with it.
template <typename Use>
CDFstatus SparseRecords::readRoomily(long record, Use use) const {
  const long records = 1 + std::max(0L, lastRecord_ - record);
  const std::unique_ptr<char[]> room(
      new (std::nothrow) char[static_cast<std::size_t>(records * layout_.recordBytes)]);
  if (room == nullptr) {
    return BAD_MALLOC;
  }
  const CDFstatus status =
      onFile(CDFgetVarRecordData, file_, zVariable, variable_, record, room.get());
  if (status >= 0) {
    use(room.get());
  }
  return status;
}

CDFstatus SparseRecords::readRecord(long record, void* values) const {
  return readRoomily(record, [&](const char* bytes) {
    std::memcpy(values, bytes, static_cast<std::size_t>(layout_.recordBytes));
  });
}

CDFstatus SparseRecords::readSlab(const Hyperslab& slab, void* values) const {
  const auto size = static_cast<std::size_t>(layout_.valueBytes);
  char* to = static_cast<char*>(values);
  const auto take = [&](const char* value) {
    std::memcpy(to, value, size);
    to += size;
  };
  CDFstatus status = 0;
  for (long i = 0; i < slab.recordCount && status >= 0; ++i) {
    status = readRoomily(slab.recordStart + i * slab.recordInterval,
                         [&](char* bytes) { eachValue(slab, bytes, take); });
  }
  return status;
}

CDFstatus SparseRecords::writeSlab(const Hyperslab& slab, const void* values) const {
  const auto size = static_cast<std::size_t>(layout_.valueBytes);
  const char* from = static_cast<const char*>(values);
  const auto put = [&](char* value) {
    std::memcpy(value, from, size);
    from += size;
  };
  CDFstatus status = 0;
  for (long i = 0; i < slab.recordCount && status >= 0; ++i) {
    const long record = slab.recordStart + i * slab.recordInterval;
    CDFstatus written = 0;
    status = readRoomily(record, [&](char* bytes) {
      eachValue(slab, bytes, put);
      written = onFile(CDFputVarRecordData, file_, zVariable, variable_, record, bytes);
    });
    status = std::min(status, written);
  }
  return status;
}

}  // namespace tarvik::cdf
