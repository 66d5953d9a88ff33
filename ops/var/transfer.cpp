#include "ops/var/transfer.h"

#include "cdf/library.h"
#include "convert/numbers.h"

namespace tarvik::ops {

cdf::Hyperslab unpackHyperslab(const vlArray* inputs[]) {
  cdf::Hyperslab slab;
  slab.recordStart = unpackLongScalar(inputs[0]);
  slab.recordCount = unpackLongScalar(inputs[1]);
  slab.recordInterval = unpackLongScalar(inputs[2]);
  slab.indices = unpackVector(inputs[3]);
  slab.counts = unpackVector(inputs[4]);
  slab.intervals = unpackVector(inputs[5]);
  return slab;
}

void checkListLengths(const VariableDescription& description, const cdf::Hyperslab& slab) {
  const std::size_t needed = description.dimSizes.size();
  if (slab.indices.size() != needed || slab.counts.size() != needed ||
      slab.intervals.size() != needed) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:hyperGetVarRecordData:badLength",
                     "The length of the dimension start, count, and stride arguments should be %d "
                     "for the CDF variable \"%s\".",
                     static_cast<int>(description.numDims), description.name.data());
  }
}

void checkClass(const VariableDescription& description, const vlArray* value,
                const char* identifier) {
  if (vlGetClassID(value) != mapCdfDatatypeToVorlan(description.datatype)) {
    vlErrMsgIdAndTxt(identifier,
                     "The input datatype is %s, which is not compatible with the CDF variable "
                     "datatype %s.",
                     vlGetClassName(value), cdfDatatypeName(description.datatype).c_str());
  }
}

void checkOneValue(const VariableDescription& description, const vlArray* value,
                   const ValueCountError& error) {
  if (vlGetNumberOfElements(value) == static_cast<std::size_t>(elementsPerValue(description))) {
    return;
  }
  const char* ofOthers = cdf::isText(description.datatype) ? error.ofCharacters : error.ofNumbers;
  vlErrMsgIdAndTxt(error.identifier,
                   description.datatype == CDF_EPOCH16 ? error.ofEpoch16 : ofOthers,
                   description.name.data(), static_cast<int>(description.numElements));
}

}  // namespace tarvik::ops
