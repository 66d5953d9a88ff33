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

namespace {

/// `more` is what else to get.
template <typename... More>
CDFstatus inquire(VariableDescription& description, More... more) {
  const Variable& variable = description.variable;
  return cdf::onVariable(variable.file, variable.number, GET_, zVAR_DATATYPE_,
                         &description.datatype, zVAR_NUMELEMS_, &description.numElements,
                         zVAR_NUMDIMS_, &description.numDims, zVAR_RECVARY_, &description.recVary,
                         zVAR_SPARSERECORDS_, &description.sparseRecords, more...);
}

template <typename... More>
void inquireWithMajority(const OperationEntry* entry, const char* step,
                         VariableDescription& description, More... more) {
  if (inquire(description, more..., CDF_MAJORITY_, &description.majority) < 0) {
    description.majority = 0;
    check(entry, inquire(description, more...), step);
  }
}

}  // namespace

NameBuffer VariableDescription::name() const {
  NameBuffer result{};
  if (cdf::onVariable(variable.file, variable.number, GET_, zVAR_NAME_, result.data()) < 0) {
    result[0] = '\0';
  }
  return result;
}

VariableDescription describeVariable(const OperationEntry* entry, const Variable& variable,
                                     const char* step) {
  VariableDescription description;
  description.variable = variable;
  description.dimSizes.resize(CDF_MAX_DIMS);
  description.dimVarys.resize(CDF_MAX_DIMS);
  inquireWithMajority(entry, step, description, zVAR_DIMSIZES_, description.dimSizes.data(),
                      zVAR_DIMVARYS_, description.dimVarys.data());
  description.dimSizes.resize(static_cast<std::size_t>(description.numDims));
  description.dimVarys.resize(static_cast<std::size_t>(description.numDims));
  return description;
}

VariableDescription describeValue(const OperationEntry* entry, const Variable& variable,
                                  const char* step) {
  VariableDescription description;
  description.variable = variable;
  inquireWithMajority(entry, step, description);
  return description;
}

long inquireMajority(const OperationEntry* entry, CDFid file) {
  long majority = 0;
  check(entry, cdf::onFile(file, GET_, CDF_MAJORITY_, &majority), tag::majorityInquiryFailure);
  return majority;
}

}  // namespace tarvik::ops
