// The checksum and the cache sizes of a file.
#include "convert/code_names.h"
#include "gateway/handlers.h"
#include "ops/file/numbers.h"

namespace tarvik::ops {

namespace {

constexpr CodeName checksums[] = {{0, "NO_CHECKSUM"}, {1, "MD5_CHECKSUM"}, {2, "OTHER_CHECKSUM"}};
constexpr UnknownCode unknownChecksum{"VORLAN:tarvik:getChecksum:unrecognizedChecksum",
                                      "The checksum value %d is not recognized."};

/// Selects a cache size, which must not be zero; `zeroCacheSize` is the error if it is.
void setNonzeroCacheSize(const vlArray* inputs[], const OperationEntry* entry, long item,
                         const char* zeroCacheSize) {
  const CDFid file = unpackCDFId(inputs[0]);
  const long size = unpackLongScalar(inputs[1]);
  if (size == 0) {
    vlErrMsgIdAndTxt(zeroCacheSize, "Cache size cannot be zero.");
  }
  check(entry, cdf::onFile(file, item, size));
}

}  // namespace

void getChecksum(int, vlArray* outputs[], int, const vlArray* inputs[],
                 const OperationEntry* entry) {
  const long checksum = askFile(inputs, entry, GET_, CDF_CHECKSUM_);
  outputs[0] = vlCreateString(nameOf(checksums, checksum, unknownChecksum));
}

void setChecksum(int, vlArray*[], int, const vlArray* inputs[], const OperationEntry* entry) {
  tellFile(inputs, entry, PUT_, CDF_CHECKSUM_);
}

void getCacheSize(int, vlArray* outputs[], int, const vlArray* inputs[],
                  const OperationEntry* entry) {
  outputs[0] = packUpLong(askFile(inputs, entry, CONFIRM_, CDF_CACHESIZE_));
}

void setCacheSize(int, vlArray*[], int, const vlArray* inputs[], const OperationEntry* entry) {
  setNonzeroCacheSize(inputs, entry, CDF_CACHESIZE_, "VORLAN:tarvik:setCacheSize:zeroCacheSize");
}

void getStageCacheSize(int, vlArray* outputs[], int, const vlArray* inputs[],
                       const OperationEntry* entry) {
  outputs[0] = packUpLong(askFile(inputs, entry, CONFIRM_, STAGE_CACHESIZE_));
}

void setStageCacheSize(int, vlArray*[], int, const vlArray* inputs[], const OperationEntry* entry) {
  setNonzeroCacheSize(inputs, entry, STAGE_CACHESIZE_,
                      "VORLAN:tarvik:setStageCacheSize:zeroCacheSize");
}

void getCompressionCacheSize(int, vlArray* outputs[], int, const vlArray* inputs[],
                             const OperationEntry* entry) {
  outputs[0] = packUpLong(askFile(inputs, entry, CONFIRM_, COMPRESS_CACHESIZE_));
}

void setCompressionCacheSize(int, vlArray*[], int, const vlArray* inputs[],
                             const OperationEntry* entry) {
  tellFile(inputs, entry, COMPRESS_CACHESIZE_);
}

}  // namespace tarvik::ops
