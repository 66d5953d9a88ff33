// The transfers of the extended plug-in. They ask first whether the variable's records are sparse.
// If not, they are one call of the library, as in the exact plug-in.
#include "extended/compressed_sparse.h"
#include "ops/var/transfer.h"

namespace tarvik::ops {

namespace {

using extended::CompressedSparseRecords;

struct Storage {
  long sparse = NO_SPARSERECORDS;
  long blockingFactor = 0;

  bool isSparse() const { return sparse != NO_SPARSERECORDS; }
};

/// If the inquiry fails, the variable counts as one without sparse records.
Storage storageOf(CDFid file, long variable) {
  Storage storage;
  cdf::onVariable(file, variable, GET_, zVAR_SPARSERECORDS_, &storage.sparse, zVAR_BLOCKINGFACTOR_,
                  &storage.blockingFactor);
  return storage;
}

// The library allocates sparse records in blocks, of as many records as the blocking factor says
// and of about 8 KiB without one. A write to a block that ends beyond record 2147483647 crashes:
// record 2147483000 of CDF_INT4, for instance.
CDFstatus checkBlock(const Storage& storage, long last) {
  constexpr CDFstatus BAD_REC_NUM = -2009;
  constexpr long largest = 2147483647, mostByDefault = 16384;
  const long block = storage.blockingFactor > 0 ? storage.blockingFactor : mostByDefault;
  return storage.isSparse() && last + block > largest ? BAD_REC_NUM : 0;
}

cdf::Hyperslab oneValue(long record, const Longs& indices) {
  const Longs ones(indices.size(), 1);
  return {record, 1, 1, indices, ones, ones};
}

CDFstatus getHyperslab(CDFid file, long variable, const cdf::Hyperslab& slab, void* values) {
  if (storageOf(file, variable).isSparse()) {
    const CompressedSparseRecords records(file, variable);
    if (records.found() && records.contains(slab)) {
      return records.getHyperslab(slab, values);
    }
  }
  return cdf::getHyperslab(file, variable, slab, values);
}

CDFstatus getValue(CDFid file, long variable, long record, const Longs& indices, void* value) {
  if (storageOf(file, variable).isSparse()) {
    const CompressedSparseRecords records(file, variable);
    const cdf::Hyperslab slab = oneValue(record, indices);
    if (records.found() && records.contains(slab)) {
      return records.getHyperslab(slab, value);
    }
  }
  return cdf::getValue(file, variable, record, indices, value);
}

CDFstatus getRecord(CDFid file, long variable, long record, void* values) {
  if (storageOf(file, variable).isSparse()) {
    const CompressedSparseRecords records(file, variable);
    if (records.found()) {
      return records.getRecord(record, values);
    }
  }
  return cdf::getRecord(file, variable, record, values);
}

CDFstatus putHyperslab(CDFid file, long variable, const cdf::Hyperslab& slab, const void* values) {
  const Storage storage = storageOf(file, variable);
  const CDFstatus status =
      checkBlock(storage, slab.recordStart + (slab.recordCount - 1) * slab.recordInterval);
  if (status < 0) {
    return status;
  }
  if (storage.isSparse()) {
    const CompressedSparseRecords records(file, variable);
    if (records.found() && records.contains(slab)) {
      return records.putHyperslab(slab, values);
    }
  }
  return cdf::putHyperslab(file, variable, slab, values);
}

CDFstatus putValue(CDFid file, long variable, long record, const Longs& indices,
                   const void* value) {
  const CDFstatus status = checkBlock(storageOf(file, variable), record);
  return status < 0 ? status : cdf::putValue(file, variable, record, indices, value);
}

CDFstatus putRecord(CDFid file, long variable, long record, const void* values) {
  const CDFstatus status = checkBlock(storageOf(file, variable), record);
  return status < 0 ? status : cdf::putRecord(file, variable, record, values);
}

}  // namespace

const Transfers transfers = {getValue, putValue, getRecord, putRecord, getHyperslab, putHyperslab};

}  // namespace tarvik::ops
