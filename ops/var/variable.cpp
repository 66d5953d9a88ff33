#include "ops/var/variable.h"

#include "cdf/call.h"
#include "convert/numbers.h"
#include "gateway/registry.h"
#include "gateway/status.h"

namespace tarvik::ops {

Variable unpackVariable(const vlArray* inputs[]) {
  const CDFid file = unpackCDFId(inputs[0]);
  const long number = unpackLongScalar(inputs[1]);
  return {file, number};
}

VariableDescription describeVariable(const OperationEntry* entry, const Variable& variable,
                                     const char* step) {
  VariableDescription description;
  description.dimSizes.resize(CDF_MAX_DIMS);
  description.dimVarys.resize(CDF_MAX_DIMS);
  check(entry,
        cdf::onVariable(variable.file, variable.number, GET_, zVAR_NAME_, description.name.data(),
                        zVAR_DATATYPE_, &description.datatype, zVAR_NUMELEMS_,
                        &description.numElements, zVAR_NUMDIMS_, &description.numDims,
                        zVAR_DIMSIZES_, description.dimSizes.data(), zVAR_RECVARY_,
                        &description.recVary, zVAR_DIMVARYS_, description.dimVarys.data(),
                        zVAR_SPARSERECORDS_, &description.sparseRecords),
        step);
  description.dimSizes.resize(static_cast<std::size_t>(description.numDims));
  description.dimVarys.resize(static_cast<std::size_t>(description.numDims));
  return description;
}

long inquireMajority(const OperationEntry* entry, CDFid file) {
  long majority = 0;
  check(entry, cdf::onFile(file, GET_, CDF_MAJORITY_, &majority), tag::majorityInquiryFailure);
  return majority;
}

}  // namespace tarvik::ops
