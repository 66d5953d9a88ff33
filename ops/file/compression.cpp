// The compression of a file as a whole.
#include "ops/compression.h"

#include "cdf/library.h"
#include "convert/numbers.h"
#include "gateway/handlers.h"
#include "gateway/registry.h"
#include "gateway/status.h"

namespace tarvik::ops {

namespace {

constexpr UnknownCode unhandledType{"VORLAN:tarvik:getCompression:unhandledCompressionType",
                                    "The compression type value %d is not recognized."};

/// Only a gzip level is taken from what the library reports.
vlArray* packUpParameter(const Compression& compression) {
  switch (compression.type) {
    case NO_COMPRESSION:
      return vlCreateNumericMatrix(0, 0, vlDOUBLE_CLASS, vlREAL);
    case RLE_COMPRESSION:
      return vlCreateString("RLE_OF_ZEROS");
    case GZIP_COMPRESSION:
      return packUpLong(compression.parameters[0]);
    default:
      return vlCreateString("OPTIMAL_ENCODING_TREES");
  }
}

void checkGzipLevel(long type, long level) {
  if (type == GZIP_COMPRESSION && (level < 1 || level > 9)) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:setCompression:badGzipLevel",
                     "The gzip compression level was specified as %d, but it must be between 1 and "
                     "9.",
                     static_cast<int>(level));
  }
}

CompressionParameters unpackParameters(int numInputs, const vlArray* inputs[], long type) {
  if (numInputs < 3) {
    return defaultParameters(type);
  }
  const long parameter = unpackLongScalar(inputs[2]);
  checkGzipLevel(type, parameter);
  return {parameter};
}

}  // namespace

void getCompression(int, vlArray* outputs[], int, const vlArray* inputs[],
                    const OperationEntry* entry) {
  const CDFid file = unpackCDFId(inputs[0]);
  Compression compression;
  check(entry, cdf::onFile(file, GET_, CDF_COMPRESSION_, &compression.type,
                           compression.parameters.data(), &compression.percentage));
  const char* name = compressionName(compression.type, unhandledType);
  outputs[0] = vlCreateString(name);
  outputs[1] = packUpParameter(compression);
  outputs[2] = packUpLong(compression.percentage);
}

void setCompression(int, vlArray*[], int numInputs, const vlArray* inputs[],
                    const OperationEntry* entry) {
  const CDFid file = unpackCDFId(inputs[0]);
  const long type = unpackLongScalar(inputs[1]);
  const CompressionParameters parameters = unpackParameters(numInputs, inputs, type);
  check(entry, cdf::onFile(file, PUT_, CDF_COMPRESSION_, type, parameters.data()));
}

}  // namespace tarvik::ops
