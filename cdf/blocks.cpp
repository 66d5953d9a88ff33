#include "cdf/blocks.h"

#include <algorithm>
#include <array>
#include <vector>

#include "cdf/call.h"
#include "cdf/descriptions.h"
#include "cdf/guards.h"
#include "cdf/notes.h"

namespace tarvik::cdf {

namespace {

/// What decides how records can be freed.
struct RecordState {
  bool known = false;
  bool compressed = false;
  bool sparse = false;
  long written = -1;    ///< The last that was written.
  long allocated = -1;  ///< The last that is allocated, where they are not sparse.

  /// Whether they wait in a scratch file before they are written.
  bool staged() const { return compressed || sparse; }
};

RecordState recordsOf(CDFid file, long variable) {
  long compression = NO_COMPRESSION, percentage = 0, sparse = NO_SPARSERECORDS;
  CompressionParameters parameters{};
  RecordState records;
  records.known =
      onVariable(file, variable, GET_, zVAR_COMPRESSION_, &compression, parameters.data(),
                 &percentage, zVAR_SPARSERECORDS_, &sparse, zVAR_MAXREC_, &records.written,
                 zVAR_MAXallocREC_, &records.allocated) >= 0;
  records.compressed = compression != NO_COMPRESSION;
  records.sparse = sparse != NO_SPARSERECORDS;
  return records;
}

CDFstatus deleteFrom(CDFid file, long variable, long first, long last) {
  return onVariable(file, variable, DELETE_, zVAR_RECORDS_, first, last);
}

/// Deletes nothing, and has the library write what is staged.
CDFstatus writeStaged(CDFid file, long variable, const RecordState& records) {
  return mayBeStaged(records.staged(), records.written)
             ? deleteFrom(file, variable, records.written + 1, records.written + 1)
             : 0;
}

/// Writes into the last of the records that are allocated, and those before it with it, and deletes
/// all of them behind the last that was written before.
CDFstatus writeAllocated(CDFid file, long variable, const RecordState& records) {
  if (!records.known || records.staged() || records.written >= records.allocated) {
    return 0;
  }
  const RecordLayout layout(file, variable);
  if (!mustBeWritten(records.allocated - records.written, layout.recordBytes)) {
    return 0;
  }
  const std::vector<char> value(static_cast<std::size_t>(layout.valueBytes));
  const std::array<long, CDF_MAX_DIMS> first{};
  const CDFstatus status =
      onVariable(file, variable, zVAR_RECNUMBER_, records.allocated, zVAR_DIMINDICES_, first.data(),
                 PUT_, zVAR_DATA_, value.data());
  return status < 0 ? status : deleteFrom(file, variable, records.written + 1, records.allocated);
}

/// The fewest records that may be allocated at once for the variable, unless they are sparse.
long recordsToGrowBy(CDFid file, long variable, const RecordState& records) {
  const FileNotes& notes = notesOn(file);
  const bool mayMeetSmallRoom = notes.smallRoom || (notes.opened && records.allocated >= 0);
  return mayMeetSmallRoom && !records.compressed
             ? leastGrowth(RecordLayout(file, variable).recordBytes)
             : 1;
}

}  // namespace

void makeRoomBehind(CDFid file) {
  long attribute = 0;
  if (onFile(file, CREATE_, ATTR_, "room behind everything", VARIABLE_SCOPE, &attribute) >= 0) {
    onAttribute(file, attribute, DELETE_, ATTR_);
  }
}

CDFstatus judgeRecordsUpTo(CDFid file, long variable, long last) {
  if (last < fewRecords || compressionOf(file) <= NO_COMPRESSION) {
    return 0;
  }
  const RecordState records = recordsOf(file, variable);
  return !records.known || records.sparse || last <= records.allocated
             ? 0
             : judgeGrowth(last - records.allocated, RecordLayout(file, variable).recordBytes);
}

long lastToAllocate(CDFid file, long variable, long last) {
  const RecordState records = recordsOf(file, variable);
  const bool grows = 0 <= records.allocated && records.allocated < last;
  const long least = grows ? records.allocated + recordsToGrowBy(file, variable, records) : last;
  return std::max(last, std::min(least, lastOfAllRecords));
}

CDFstatus putBlockingFactor(CDFid file, long variable, long factor) {
  const long records =
      factor > 0 ? std::max(factor, recordsToGrowBy(file, variable, recordsOf(file, variable)))
                 : factor;
  return onVariable(file, variable, PUT_, zVAR_BLOCKINGFACTOR_, records);
}

void widenBlocks(CDFid file, long variable) {
  long factor = 0;
  if (onVariable(file, variable, GET_, zVAR_BLOCKINGFACTOR_, &factor) >= 0 && factor > 0) {
    putBlockingFactor(file, variable, factor);
  }
}

void expectSmallRoom(CDFid file, long variable) {
  bool& expected = notesOn(file).smallRoom;
  if (expected || !leavesSmallRoom(RecordLayout(file, variable).recordBytes)) {
    return;
  }
  expected = true;
  long variables = 0;
  onFile(file, GET_, CDF_NUMzVARS_, &variables);
  for (long other = 0; other < variables; ++other) {
    widenBlocks(file, other);
  }
}

CDFstatus prepareToFree(CDFid file, long variable) {
  const RecordState records = recordsOf(file, variable);
  if (!records.known) {
    return 0;
  }
  const CDFstatus status = writeStaged(file, variable, records);
  if (status < 0) {
    return status;
  }
  makeRoomBehind(file);
  return writeAllocated(file, variable, records);
}

CDFstatus prepareToWrite(CDFid file, long variable, long start, long last) {
  long factor = 0;
  if (last >= farRecord && onVariable(file, variable, GET_, zVAR_BLOCKINGFACTOR_, &factor) >= 0) {
    const CDFstatus judgement = judgeSparseBlock(last, factor);
    if (judgement < 0) {
      return judgement;
    }
  }
  const RecordState records = recordsOf(file, variable);
  if (records.compressed) {
    return 0;
  }
  const bool joins =
      start == records.written + 1 && leastGrowth(RecordLayout(file, variable).recordBytes) == 1;
  return joins ? 0 : writeStaged(file, variable, records);
}

// The room comes first: what writeAllocated() frees may be room for an attribute too, before the
// end.
CDFstatus prepareToCompress(CDFid file) {
  makeRoomBehind(file);
  long variables = 0;
  CDFstatus status = onFile(file, GET_, CDF_NUMzVARS_, &variables);
  for (long variable = 0; variable < variables && status >= 0; ++variable) {
    status = writeAllocated(file, variable, recordsOf(file, variable));
  }
  return status;
}

}  // namespace tarvik::cdf
