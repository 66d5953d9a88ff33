// The storage settings of a variable and its record counts: each is one number that the library is
// asked for or told. Some are put into the file, others select how the open file is handled.
#include "cdf/guards.h"
#include "cdf/library.h"
#include "convert/code_names.h"
#include "convert/numbers.h"
#include "gateway/handlers.h"
#include "gateway/registry.h"
#include "gateway/status.h"
#include "ops/var/variable.h"

namespace tarvik::ops {

namespace {

constexpr CodeName sparseRecords[] = {
    {0, "NO_SPARSERECORDS"}, {1, "PAD_SPARSERECORDS"}, {2, "PREV_SPARSERECORDS"}};
constexpr UnknownCode unknownSparseRecords{"VORLAN:tarvik:getVarSparseRecords:badType",
                                           "%d is not a recognized sparse records type."};

constexpr const char* cannotSetCacheSize =
    "VORLAN:tarvik:setVarCacheSizeNotAppropriateForSingleFileFormat";
constexpr const char* cannotGetCacheSize =
    "VORLAN:tarvik:getVarCacheSizeNotAppropriateForSingleFileFormat";

/// What `items`, GET_ or CONFIRM_ and an item, give for the variable.
template <typename... Items>
long ask(const OperationEntry* entry, const Variable& variable, Items... items) {
  long value = 0;
  check(entry, cdf::onVariable(variable.file, variable.number, items..., &value));
  return value;
}

/// Gives the third input to `items`: PUT_ and an item, or an item alone, which selects.
template <typename... Items>
void tellVariable(const vlArray* inputs[], const OperationEntry* entry, Items... items) {
  const Variable variable = unpackVariable(inputs);
  const long value = unpackLongScalar(inputs[2]);
  check(entry, cdf::onVariable(variable.file, variable.number, items..., value));
}

/// A getter whose answer is the operation's output as it stands.
template <typename... Items>
void getNumber(vlArray* outputs[], const vlArray* inputs[], const OperationEntry* entry,
               Items... items) {
  outputs[0] = packUpLong(ask(entry, unpackVariable(inputs), items...));
}

bool isSingleFile(const OperationEntry* entry, CDFid file) {
  long format = 0;
  check(entry, cdf::onFile(file, GET_, CDF_FORMAT_, &format), tag::formatInquiryFailure);
  return format == SINGLE_FILE;
}

struct RecordRange {
  Variable variable;
  long first;
  long last;
};

RecordRange unpackRecordRange(const vlArray* inputs[]) {
  RecordRange range{unpackVariable(inputs), 0, 0};
  range.first = unpackLongScalar(inputs[2]);
  range.last = unpackLongScalar(inputs[3]);
  return range;
}

}  // namespace

void getVarNumRecsWritten(int, vlArray* outputs[], int, const vlArray* inputs[],
                          const OperationEntry* entry) {
  getNumber(outputs, inputs, entry, GET_, zVAR_NUMRECS_);
}

void getVarMaxWrittenRecNum(int, vlArray* outputs[], int, const vlArray* inputs[],
                            const OperationEntry* entry) {
  getNumber(outputs, inputs, entry, GET_, zVAR_MAXREC_);
}

void getVarMaxAllocRecNum(int, vlArray* outputs[], int, const vlArray* inputs[],
                          const OperationEntry* entry) {
  getNumber(outputs, inputs, entry, GET_, zVAR_MAXallocREC_);
}

void getVarBlockingFactor(int, vlArray* outputs[], int, const vlArray* inputs[],
                          const OperationEntry* entry) {
  getNumber(outputs, inputs, entry, GET_, zVAR_BLOCKINGFACTOR_);
}

void getVarAllocRecords(int, vlArray* outputs[], int, const vlArray* inputs[],
                        const OperationEntry* entry) {
  getNumber(outputs, inputs, entry, GET_, zVAR_NUMallocRECS_);
}

void getVarReservePercent(int, vlArray* outputs[], int, const vlArray* inputs[],
                          const OperationEntry* entry) {
  getNumber(outputs, inputs, entry, CONFIRM_, zVAR_RESERVEPERCENT_);
}

void getVarSparseRecords(int, vlArray* outputs[], int, const vlArray* inputs[],
                         const OperationEntry* entry) {
  const long code = ask(entry, unpackVariable(inputs), GET_, zVAR_SPARSERECORDS_);
  outputs[0] = vlCreateString(nameOf(sparseRecords, code, unknownSparseRecords));
}

void setVarSparseRecords(int, vlArray*[], int, const vlArray* inputs[],
                         const OperationEntry* entry) {
  tellVariable(inputs, entry, PUT_, zVAR_SPARSERECORDS_);
}

void setVarReservePercent(int, vlArray*[], int, const vlArray* inputs[],
                          const OperationEntry* entry) {
  tellVariable(inputs, entry, zVAR_RESERVEPERCENT_);
}

void setVarInitialRecs(int, vlArray*[], int, const vlArray* inputs[], const OperationEntry* entry) {
  tellVariable(inputs, entry, PUT_, zVAR_INITIALRECS_);
}

void setVarBlockingFactor(int, vlArray*[], int, const vlArray* inputs[],
                          const OperationEntry* entry) {
  tellVariable(inputs, entry, PUT_, zVAR_BLOCKINGFACTOR_);
}

void setVarAllocBlockRecords(int, vlArray*[], int, const vlArray* inputs[],
                             const OperationEntry* entry) {
  const RecordRange range = unpackRecordRange(inputs);
  check(entry, cdf::checkAllocation(range.last));
  check(entry, cdf::onVariable(range.variable.file, range.variable.number, PUT_,
                               zVAR_ALLOCATEBLOCK_, range.first, range.last));
}

void deleteVarRecords(int, vlArray*[], int, const vlArray* inputs[], const OperationEntry* entry) {
  const RecordRange range = unpackRecordRange(inputs);
  check(entry, cdf::onVariable(range.variable.file, range.variable.number, DELETE_, zVAR_RECORDS_,
                               range.first, range.last));
}

void setVarsCacheSize(int, vlArray*[], int, const vlArray* inputs[], const OperationEntry* entry) {
  const CDFid file = unpackCDFId(inputs[0]);
  const long buffers = unpackLongScalar(inputs[1]);
  check(entry, cdf::onFile(file, zVARs_CACHESIZE_, buffers));
}

void setVarCacheSize(int, vlArray*[], int, const vlArray* inputs[], const OperationEntry* entry) {
  const Variable variable = unpackVariable(inputs);
  const long buffers = unpackLongScalar(inputs[2]);
  if (isSingleFile(entry, variable.file)) {
    vlErrMsgIdAndTxt(cannotSetCacheSize,
                     "Setting the variable cache size is not an appropriate operation in "
                     "single-file CDFs.");
  }
  check(entry, cdf::onVariable(variable.file, variable.number, zVAR_CACHESIZE_, buffers));
}

void getVarCacheSize(int, vlArray* outputs[], int, const vlArray* inputs[],
                     const OperationEntry* entry) {
  const Variable variable = unpackVariable(inputs);
  if (isSingleFile(entry, variable.file)) {
    vlErrMsgIdAndTxt(cannotGetCacheSize,
                     "Retrieving the variable cache size is not an appropriate operation in "
                     "single-file CDFs.");
  }
  outputs[0] = packUpLong(ask(entry, variable, CONFIRM_, zVAR_CACHESIZE_));
}

}  // namespace tarvik::ops
