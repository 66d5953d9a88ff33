// The compression of a variable.
#include "ops/compression.h"

#include <algorithm>
#include <iterator>

#include "cdf/library.h"
#include "convert/numbers.h"
#include "gateway/handlers.h"
#include "gateway/status.h"
#include "ops/var/variable.h"

namespace tarvik::ops {

namespace {

constexpr UnknownCode unhandledType{"VORLAN:tarvik:getVarCompression:unhandledCompressionType",
                                    "The compression type value %d is not recognized."};

/// A type whose only parameter is 0 and has a name; any other is shown as it is, with a warning.
struct NamedParameter {
  long type;
  const char* name;
  const char* identifier;
  const char* warning;
};

// The name of the first differs in its last letter from that for a file as a whole.
constexpr NamedParameter namedParameters[] = {
    {RLE_COMPRESSION, "RLE_OF_ZEROs",
     "VORLAN:tarvik:getVarCompression:unrecognizedRleCompressionParameter",
     "%d is an unhandled RLE_COMPRESSION parameter setting."},
    {HUFF_COMPRESSION, "OPTIMAL_ENCODING_TREES",
     "VORLAN:tarvik:getVarCompression:unrecognizedHuffCompressionParameter",
     "%d is an unhandled HUFF_COMPRESSION parameter setting."},
    {AHUFF_COMPRESSION, "OPTIMAL_ENCODING_TREES",
     "VORLAN:tarvik:getVarCompression:unrecognizedAHuffCompressionParameter",
     "%d is an unhandled AHUFF_COMPRESSION parameter setting."},
};

vlArray* packUpParameter(const Compression& compression) {
  const long parameter = compression.parameters[0];
  if (compression.type == NO_COMPRESSION) {
    return vlCreateNumericMatrix(0, 0, vlDOUBLE_CLASS, vlREAL);
  }
  const auto* named =
      std::find_if(std::begin(namedParameters), std::end(namedParameters),
                   [&](const NamedParameter& row) { return row.type == compression.type; });
  if (named == std::end(namedParameters)) {
    return packUpLong(parameter);
  }
  if (parameter == 0) {
    return vlCreateString(named->name);
  }
  vlWarningMsgIdAndTxt(named->identifier, named->warning, static_cast<int>(parameter));
  return packUpLong(parameter);
}

}  // namespace

void setVarCompression(int, vlArray*[], int numInputs, const vlArray* inputs[],
                       const OperationEntry* entry) {
  const Variable variable = unpackVariable(inputs);
  const long type = unpackLongScalar(inputs[2]);
  const CompressionParameters parameters =
      numInputs < 4 ? defaultParameters(type) : CompressionParameters{unpackLongScalar(inputs[3])};
  check(entry, cdf::onVariable(variable.file, variable.number, PUT_, zVAR_COMPRESSION_, type,
                               parameters.data()));
}

void getVarCompression(int, vlArray* outputs[], int, const vlArray* inputs[],
                       const OperationEntry* entry) {
  const Variable variable = unpackVariable(inputs);
  Compression compression;
  check(entry,
        cdf::onVariable(variable.file, variable.number, GET_, zVAR_COMPRESSION_, &compression.type,
                        compression.parameters.data(), &compression.percentage));
  const char* name = compressionName(compression.type, unhandledType);
  outputs[0] = vlCreateString(name);
  outputs[1] = packUpParameter(compression);
  outputs[2] = packUpLong(compression.percentage);
}

}  // namespace tarvik::ops
