// The checksum and the cache sizes of a file.
#include "convert/code_names.h"
#include "gateway/handlers.h"
#include "ops/file/numbers.h"

namespace tarvik::ops {

namespace {

constexpr CodeName checksums[] = {{0, "NO_CHECKSUM"}, {1, "MD5_CHECKSUM"}, {2, "OTHER_CHECKSUM"}};
constexpr UnknownCode unknownChecksum{"VORLAN:tarvik:getChecksum:unrecognizedChecksum",
                                      "The checksum value %d is not recognized."};

/// A cache size, which must not be zero; `zeroCacheSize` is the error if it is.
long unpackCacheSize(const vlArray* argument, const char* zeroCacheSize) {
  const long size = unpackLongScalar(argument);
  if (size == 0) {
    vlErrMsgIdAndTxt(zeroCacheSize, "Cache size cannot be zero.");
  }
  return size;
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
  const CDFid file = unpackCDFId(inputs[0]);
  const long size = unpackCacheSize(inputs[1], "VORLAN:tarvik:setCacheSize:zeroCacheSize");
  check(entry, cdf::onFile(file, CDF_CACHESIZE_, size));
}

void getStageCacheSize(int, vlArray* outputs[], int, const vlArray* inputs[],
                       const OperationEntry* entry) {
  outputs[0] = packUpLong(askFile(inputs, entry, CONFIRM_, STAGE_CACHESIZE_));
}

void setStageCacheSize(int, vlArray*[], int, const vlArray* inputs[], const OperationEntry* entry) {
  const CDFid file = unpackCDFId(inputs[0]);
  const long size = unpackCacheSize(inputs[1], "VORLAN:tarvik:setStageCacheSize:zeroCacheSize");
  check(entry, cdf::onFile(file, STAGE_CACHESIZE_, size));
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
