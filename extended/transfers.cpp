// The transfers of the extended plug-in: one call of the library, and whole records where a
// variable's records are both sparse and compressed.
#include "extended/compressed_sparse.h"
#include "ops/var/transfer.h"

namespace tarvik::ops {

namespace {

using extended::CompressedSparseRecords;

CDFstatus getHyperslab(CDFid file, long variable, const cdf::Hyperslab& slab, void* values) {
  const CompressedSparseRecords records(file, variable);
  return records.found() && records.contains(slab)
             ? records.getHyperslab(slab, values)
             : cdf::getHyperslab(file, variable, slab, values);
}

CDFstatus putHyperslab(CDFid file, long variable, const cdf::Hyperslab& slab, const void* values) {
  const CompressedSparseRecords records(file, variable);
  return records.found() && records.contains(slab)
             ? records.putHyperslab(slab, values)
             : cdf::putHyperslab(file, variable, slab, values);
}

CDFstatus getValue(CDFid file, long variable, long record, const Longs& indices, void* value) {
  const CompressedSparseRecords records(file, variable);
  const Longs ones(indices.size(), 1);
  const cdf::Hyperslab slab{record, 1, 1, indices, ones, ones};
  return records.found() && records.contains(slab)
             ? records.getHyperslab(slab, value)
             : cdf::getValue(file, variable, record, indices, value);
}

CDFstatus getRecord(CDFid file, long variable, long record, void* values) {
  const CompressedSparseRecords records(file, variable);
  return records.found() && record >= 0 ? records.getRecord(record, values)
                                        : cdf::getRecord(file, variable, record, values);
}

}  // namespace

const Transfers transfers = {getValue,       cdf::putValue, getRecord,
                             cdf::putRecord, getHyperslab,  putHyperslab};

}  // namespace tarvik::ops
