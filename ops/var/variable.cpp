#include "ops/var/variable.h"

#include "convert/numbers.h"
#include "gateway/registry.h"

namespace tarvik::ops {

Variable unpackVariable(const vlArray* inputs[]) {
  const CDFid file = unpackCDFId(inputs[0]);
  const long number = unpackLongScalar(inputs[1]);
  return {file, number};
}

VariableDescription describeVariable(const OperationEntry* entry, const Variable& variable,
                                     const char* step) {
  VariableDescription d;
  check(entry,
        cdf::onVariable(variable.file, variable.number, GET_, zVAR_NAME_, d.name.data(),
                        zVAR_DATATYPE_, &d.datatype, zVAR_NUMELEMS_, &d.numElements, zVAR_NUMDIMS_,
                        &d.numDims, zVAR_DIMSIZES_, d.dimSizes.data(), zVAR_RECVARY_, &d.recVary,
                        zVAR_DIMVARYS_, d.dimVarys.data()),
        step);
  d.dimSizes.resize(static_cast<std::size_t>(d.numDims));
  d.dimVarys.resize(static_cast<std::size_t>(d.numDims));
  return d;
}

}  // namespace tarvik::ops
