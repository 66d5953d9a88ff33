// Seen with version 3.9.1 of the library: after a write to a variable with compressed sparse
// records, a read of a record that does not exist fills all records up to the next existing one,
// also beyond the caller's memory: 72 bytes for a record of 24. A hyperslab of a part of the
// dimensions overruns the library's own memory as well, in a read and in a write.
#include "extended/compressed_sparse.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <numeric>
#include <sys/mman.h>

#include "cdf/library.h"

namespace tarvik::extended {

namespace {

constexpr CDFstatus BAD_MALLOC = -2026;

/// Memory that the system gives page by page as it is used.
class Room {
 public:
  explicit Room(std::size_t size)
      : size_(size),
        memory_(mmap(nullptr, size, PROT_READ | PROT_WRITE,
                     MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0)) {}
  Room(const Room&) = delete;
  Room& operator=(const Room&) = delete;
  ~Room() {
    if (bytes() != nullptr) {
      munmap(memory_, size_);
    }
  }
  /// Null if there is none.
  char* bytes() const { return memory_ == MAP_FAILED ? nullptr : static_cast<char*>(memory_); }

 private:
  std::size_t size_;
  void* memory_;
};

bool isCompressed(CDFid file, long variable) {
  long type = NO_COMPRESSION, percentage = 0;
  CompressionParameters parameters{};
  return cdf::onVariable(file, variable, GET_, zVAR_COMPRESSION_, &type, parameters.data(),
                         &percentage) >= 0 &&
         type != NO_COMPRESSION;
}

}  // namespace

CompressedSparseRecords::CompressedSparseRecords(CDFid file, long variable)
    : file_(file), variable_(variable), found_(isCompressed(file, variable) && inquireLayout()) {}

bool CompressedSparseRecords::inquireLayout() {
  long majority = ROW_MAJOR, datatype = 0, numElements = 0, numDims = 0;
  std::array<long, CDF_MAX_DIMS> extents{}, varys{};
  if (cdf::onVariable(file_, variable_, GET_, CDF_MAJORITY_, &majority, zVAR_DATATYPE_, &datatype,
                      zVAR_NUMELEMS_, &numElements, zVAR_NUMDIMS_, &numDims, zVAR_DIMSIZES_,
                      extents.data(), zVAR_DIMVARYS_, varys.data(), zVAR_MAXREC_,
                      &lastRecord_) < 0) {
    return false;
  }
  sizes_.assign(extents.begin(), extents.begin() + numDims);
  strides_.resize(sizes_.size(), 0);
  order_.resize(sizes_.size());
  std::iota(order_.begin(), order_.end(), 0L);
  if (majority != ROW_MAJOR) {
    std::reverse(order_.begin(), order_.end());
  }
  valueBytes_ = cdf::datatypeBytes(datatype) * numElements;
  recordBytes_ = valueBytes_;
  std::for_each(order_.rbegin(), order_.rend(), [&](long dimension) {
    const auto i = static_cast<std::size_t>(dimension);
    if (varys[i] != NOVARY) {
      strides_[i] = recordBytes_;
      recordBytes_ *= sizes_[i];
    }
  });
  return recordBytes_ > 0;
}

bool CompressedSparseRecords::contains(const cdf::Hyperslab& slab) const {
  for (std::size_t i = 0; i < sizes_.size(); ++i) {
    const long index = slab.indices[i], count = slab.counts[i], interval = slab.intervals[i];
    if (index < 0 || count < 1 || interval < 1 || index + (count - 1) * interval >= sizes_[i]) {
      return false;
    }
  }
  constexpr long lastOfAll = 2147483646;
  return slab.recordStart >= 0 && slab.recordStart <= lastOfAll && slab.recordCount > 0 &&
         slab.recordInterval > 0;
}

/// Calls `visit` with the place of each value of the record that belongs to the slab, in the slab's
/// order.
template <typename Visit>
void CompressedSparseRecords::visitValues(const cdf::Hyperslab& slab, char* record,
                                          const Visit& visit, std::size_t depth) const {
  if (depth == order_.size()) {
    visit(record);
    return;
  }
  const auto i = static_cast<std::size_t>(order_[depth]);
  for (long n = 0; n < slab.counts[i]; ++n) {
    const long index = slab.indices[i] + n * slab.intervals[i];
    visitValues(slab, record + index * strides_[i], visit, depth + 1);
  }
}

/// Reads a record with room for all that follow it, and calls `use` with it. What the library does
/// not fill of the room takes no memory.
template <typename Use>
CDFstatus CompressedSparseRecords::withRecord(long record, Use use) const {
  const long records = 1 + std::max(0L, lastRecord_ - record);
  const Room room(static_cast<std::size_t>(records * recordBytes_));
  if (room.bytes() == nullptr) {
    return BAD_MALLOC;
  }
  const CDFstatus status = cdf::getRecord(file_, variable_, record, room.bytes());
  if (status >= 0) {
    use(room.bytes());
  }
  return status;
}

CDFstatus CompressedSparseRecords::getRecord(long record, void* values) const {
  return withRecord(record, [&](const char* bytes) {
    std::memcpy(values, bytes, static_cast<std::size_t>(recordBytes_));
  });
}

CDFstatus CompressedSparseRecords::getHyperslab(const cdf::Hyperslab& slab, void* values) const {
  const auto size = static_cast<std::size_t>(valueBytes_);
  char* to = static_cast<char*>(values);
  const auto take = [&](const char* value) {
    std::memcpy(to, value, size);
    to += size;
  };
  CDFstatus status = 0;
  for (long i = 0; i < slab.recordCount && status >= 0; ++i) {
    status = withRecord(slab.recordStart + i * slab.recordInterval,
                        [&](char* bytes) { visitValues(slab, bytes, take); });
  }
  return status;
}

CDFstatus CompressedSparseRecords::putHyperslab(const cdf::Hyperslab& slab,
                                                const void* values) const {
  const auto size = static_cast<std::size_t>(valueBytes_);
  const char* from = static_cast<const char*>(values);
  const auto put = [&](char* value) {
    std::memcpy(value, from, size);
    from += size;
  };
  CDFstatus status = 0;
  for (long i = 0; i < slab.recordCount && status >= 0; ++i) {
    const long record = slab.recordStart + i * slab.recordInterval;
    CDFstatus written = 0;
    status = withRecord(record, [&](char* bytes) {
      visitValues(slab, bytes, put);
      written = cdf::putRecord(file_, variable_, record, bytes);
    });
    status = std::min(status, written);
  }
  return status;
}

}  // namespace tarvik::extended
