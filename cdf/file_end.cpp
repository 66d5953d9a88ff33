#include "cdf/file_end.h"

#include <array>
#include <vector>

#include "cdf/call.h"
#include "cdf/guards.h"

namespace tarvik::cdf {

namespace {

/// The bytes of one value, and of a record; 0 where they cannot be told.
struct StoredSize {
  long value = 0;
  long record = 0;
};

StoredSize storedSize(CDFid file, long variable) {
  long datatype = 0, numElements = 0, numDims = 0, bytes = 0;
  std::array<long, CDF_MAX_DIMS> sizes{}, varys{};
  if (onVariable(file, variable, GET_, zVAR_DATATYPE_, &datatype, zVAR_NUMELEMS_, &numElements,
                 zVAR_NUMDIMS_, &numDims, zVAR_DIMSIZES_, sizes.data(), zVAR_DIMVARYS_,
                 varys.data()) < 0 ||
      call(GET_, DATATYPE_SIZE_, datatype, &bytes) < 0) {
    return {};
  }
  const long value = bytes * numElements;
  long record = value;
  for (std::size_t i = 0; i < static_cast<std::size_t>(numDims); ++i) {
    record *= varys[i] == NOVARY ? 1 : sizes[i];
  }
  return {value, record};
}

/// Writes into the last of the records that are allocated, and those before it with it, and deletes
/// all of them behind `written`.
CDFstatus writeAndDelete(CDFid file, long variable, long written, long allocated, long valueBytes) {
  const std::vector<char> value(static_cast<std::size_t>(valueBytes));
  const std::array<long, CDF_MAX_DIMS> first{};
  const CDFstatus status = onVariable(file, variable, zVAR_RECNUMBER_, allocated, zVAR_DIMINDICES_,
                                      first.data(), PUT_, zVAR_DATA_, value.data());
  return status < 0 ? status
                    : onVariable(file, variable, DELETE_, zVAR_RECORDS_, written + 1, allocated);
}

}  // namespace

long recordBytes(CDFid file, long variable) {
  return storedSize(file, variable).record;
}

void makeRoomBehind(CDFid file) {
  long attribute = 0;
  if (onFile(file, CREATE_, ATTR_, "room behind everything", VARIABLE_SCOPE, &attribute) >= 0) {
    onAttribute(file, attribute, DELETE_, ATTR_);
  }
}

CDFstatus settleRecords(CDFid file, long variable) {
  long compression = NO_COMPRESSION, percentage = 0, sparse = NO_SPARSERECORDS;
  long written = -1, allocated = -1;
  CompressionParameters parameters{};
  const CDFstatus known = onVariable(file, variable, GET_, zVAR_COMPRESSION_, &compression,
                                     parameters.data(), &percentage, zVAR_SPARSERECORDS_, &sparse,
                                     zVAR_MAXREC_, &written, zVAR_MAXallocREC_, &allocated);
  if (known < 0 || compression != NO_COMPRESSION || sparse != NO_SPARSERECORDS ||
      written >= allocated) {
    return 0;
  }
  const StoredSize size = storedSize(file, variable);
  return mustBeWritten(allocated - written, size.record)
             ? writeAndDelete(file, variable, written, allocated, size.value)
             : 0;
}

CDFstatus settleAllRecords(CDFid file) {
  long variables = 0;
  CDFstatus status = onFile(file, GET_, CDF_NUMzVARS_, &variables);
  for (long variable = 0; variable < variables && status >= 0; ++variable) {
    status = settleRecords(file, variable);
  }
  return status;
}

}  // namespace tarvik::cdf
