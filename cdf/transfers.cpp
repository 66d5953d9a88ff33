#include "cdf/transfers.h"

#include "cdf/blocks.h"
#include "cdf/call.h"
#include "cdf/descriptions.h"
#include "cdf/guards.h"
#include "cdf/sparse_records.h"

namespace tarvik::cdf {

namespace {

/// Records that are written by one request.
struct Run {
  long start;
  long count;
  long interval;
};

/// Makes a request that writes to the variable.
template <typename Request>
CDFstatus preparedToWrite(CDFid file, long variable, const Records& records, const Run& run,
                          Request request) {
  const long last = run.start + (run.count - 1) * run.interval;
  return unlessRefused(records.sparse ? prepareToWrite(file, variable, run.start, last)
                                      : judgeRecordsUpTo(file, variable, last),
                       request);
}

/// `function` is GET_ or PUT_.
CDFstatus transferValue(CDFid file, long variable, const ValuePlace& place, long function,
                        const void* value) {
  return onVariable(file, variable, zVAR_RECNUMBER_, place.record, zVAR_DIMINDICES_,
                    place.indices.data(), function, zVAR_DATA_, value);
}

CDFstatus judgeHyperslab(const Hyperslab& slab) {
  const CDFstatus records = judgeRecords(slab.recordStart, slab.recordCount, slab.recordInterval);
  return records < 0 ? records : judgeDimensions(slab.indices, slab.counts, slab.intervals);
}

/// `function` is GET_ or PUT_.
CDFstatus transferHyperslab(CDFid file, long variable, const Hyperslab& slab, long function,
                            const void* values) {
  return onVariable(file, variable, zVAR_RECNUMBER_, slab.recordStart, zVAR_RECCOUNT_,
                    slab.recordCount, zVAR_RECINTERVAL_, slab.recordInterval, zVAR_DIMINDICES_,
                    slab.indices.data(), zVAR_DIMCOUNTS_, slab.counts.data(), zVAR_DIMINTERVALS_,
                    slab.intervals.data(), function, zVAR_HYPERDATA_, values);
}

/// Whether the sparse records of a slab are written one by one: those that do not follow each
/// other, see prepareToWrite(), and those that leastGrowth() is about.
bool mustBeApart(const RecordLayout& layout, const Hyperslab& slab) {
  return layout.isKnown() && slab.recordCount > 1 &&
         (slab.recordInterval > 1 || slab.recordCount < leastGrowth(layout.recordBytes));
}

CDFstatus writeApart(CDFid file, long variable, const Records& records, const RecordLayout& layout,
                     const Hyperslab& slab, const char* values) {
  long bytes = layout.valueBytes;
  for (const long count : slab.counts) {
    bytes *= count;
  }
  Hyperslab record = slab;
  record.recordCount = 1;
  CDFstatus status = 0;
  for (long i = 0; i < slab.recordCount && status >= 0; ++i) {
    status = writeHyperslab(file, variable, records, record, values + i * bytes);
    record.recordStart += slab.recordInterval;
  }
  return status;
}

}  // namespace

CDFstatus readValue(CDFid file, long variable, const Records& records, const ValuePlace& place,
                    void* value) {
  if (records.sparse) {
    const Longs ones(place.indices.size(), 1);
    return readHyperslab(file, variable, records, {place.record, 1, 1, place.indices, ones, ones},
                         value);
  }
  return unlessRefused(judgeRecord(place.record),
                       [&] { return transferValue(file, variable, place, GET_, value); });
}

CDFstatus writeValue(CDFid file, long variable, const Records& records, const ValuePlace& place,
                     const void* value) {
  return unlessRefused(judgeRecord(place.record), [&] {
    return preparedToWrite(file, variable, records, {place.record, 1, 1},
                           [&] { return transferValue(file, variable, place, PUT_, value); });
  });
}

CDFstatus readRecord(CDFid file, long variable, const Records& records, long record, void* values) {
  return unlessRefused(judgeRecord(record), [&] {
    if (records.sparse) {
      const SparseRecords reader(file, variable);
      if (reader.isNeeded()) {
        return reader.readRecord(record, values);
      }
    }
    return onFile(CDFgetVarRecordData, file, zVariable, variable, record, values);
  });
}

CDFstatus writeRecord(CDFid file, long variable, const Records& records, long record,
                      const void* values) {
  return unlessRefused(judgeRecord(record), [&] {
    return preparedToWrite(file, variable, records, {record, 1, 1}, [&] {
      return onFile(CDFputVarRecordData, file, zVariable, variable, record, values);
    });
  });
}

CDFstatus readHyperslab(CDFid file, long variable, const Records& records, Hyperslab slab,
                        void* values) {
  if (!records.vary) {
    slab.recordInterval = intervalOfOneRecord(slab.recordInterval);
  }
  return unlessRefused(judgeHyperslab(slab), [&] {
    if (records.sparse) {
      const SparseRecords reader(file, variable);
      if (reader.serves(slab)) {
        return reader.readSlab(slab, values);
      }
    }
    return transferHyperslab(file, variable, slab, GET_, values);
  });
}

CDFstatus writeHyperslab(CDFid file, long variable, const Records& records, const Hyperslab& slab,
                         const void* values) {
  const Run run{slab.recordStart, slab.recordCount, slab.recordInterval};
  const auto request = [&] {
    if (records.sparse) {
      const SparseRecords writer(file, variable);
      if (writer.serves(slab)) {
        return writer.writeSlab(slab, values);
      }
      if (mustBeApart(writer.layout(), slab)) {
        return writeApart(file, variable, records, writer.layout(), slab,
                          static_cast<const char*>(values));
      }
    }
    return transferHyperslab(file, variable, slab, PUT_, values);
  };
  return unlessRefused(judgeHyperslab(slab),
                       [&] { return preparedToWrite(file, variable, records, run, request); });
}

}  // namespace tarvik::cdf
