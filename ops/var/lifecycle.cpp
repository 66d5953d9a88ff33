// Variables themselves: making, describing, finding, renaming, deleting and closing them.
#include <string>

#include "cdf/guards.h"
#include "cdf/library.h"
#include "convert/datatypes.h"
#include "convert/numbers.h"
#include "convert/text.h"
#include "gateway/handlers.h"
#include "gateway/registry.h"
#include "gateway/status.h"
#include "ops/var/variable.h"
#include "ops/var/variance.h"

namespace tarvik::ops {

namespace {

long unpackRecordVariance(const vlArray* argument) {
  const Longs variance = unpackVariance(argument);
  if (variance.size() != 1) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:createVar:badRecVariance",
                     "The record variance input must contain exactly one value.");
  }
  return variance[0];
}

Longs unpackDimensionVariances(const vlArray* argument, std::size_t numDims) {
  Longs variances = unpackVariance(argument);
  if (variances.size() != numDims) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:createVar:mismatchedVarianceSize",
                     "The length of the dimension variances (%u) does not equal the length of the "
                     "dimension extents (%u).",
                     static_cast<unsigned>(variances.size()), static_cast<unsigned>(numDims));
  }
  return variances;
}

/// The inputs of createVar from the datatype on, in the user's order of dimensions.
VariableDescription unpackShape(const vlArray* inputs[]) {
  VariableDescription shape;
  shape.datatype = unpackLongScalar(inputs[0]);
  shape.numElements = unpackLongScalar(inputs[1]);
  shape.dimSizes = unpackVector(inputs[2]);
  shape.recVary = unpackRecordVariance(inputs[3]);
  shape.dimVarys = unpackDimensionVariances(inputs[4], shape.dimSizes.size());
  return shape;
}

/// A 1-by-n double row, or an empty double array.
vlArray* packUpExtents(const Longs& extents) {
  if (extents.empty()) {
    return vlCreateNumericArray(0, nullptr, vlDOUBLE_CLASS, vlREAL);
  }
  const std::size_t dims[] = {1, extents.size()};
  vlArray* row = vlCreateNumericArray(2, dims, vlDOUBLE_CLASS, vlREAL);
  std::copy(extents.begin(), extents.end(), static_cast<double*>(vlGetData(row)));
  return row;
}

}  // namespace

void createVar(int, vlArray* outputs[], int, const vlArray* inputs[], const OperationEntry* entry) {
  const CDFid file = unpackCDFId(inputs[0]);
  const std::string name = unpackString(inputs[1]);
  VariableDescription shape = unpackShape(inputs + 2);
  adjustToMajority(entry, file, shape.dimSizes, shape.dimVarys);
  vlArray* result = packUpLong(0);
  long number = 0;
  check(entry, cdf::checkVariableName(name));
  check(entry, cdf::checkShape(shape));
  check(entry, cdf::onFile(file, CREATE_, zVAR_, name.c_str(), shape.datatype, shape.numElements,
                           static_cast<long>(shape.dimSizes.size()), shape.dimSizes.data(),
                           shape.recVary, shape.dimVarys.data(), &number));
  setLong(result, number);
  outputs[0] = result;
}

void inquireVar(int, vlArray* outputs[], int, const vlArray* inputs[],
                const OperationEntry* entry) {
  const Variable variable = unpackVariable(inputs);
  VariableDescription description = describeVariable(entry, variable, tag::failure);
  adjustToMajority(entry, variable.file, description.dimSizes, description.dimVarys);
  outputs[0] = vlCreateString(description.name.data());
  outputs[1] = packUpDatatype(description.datatype);
  outputs[2] = packUpLong(description.numElements);
  outputs[3] = packUpExtents(description.dimSizes);
  outputs[4] = packUpVariance({description.recVary});
  outputs[5] = packUpVariance(description.dimVarys);
}

void getVarNum(int, vlArray* outputs[], int, const vlArray* inputs[], const OperationEntry* entry) {
  const CDFid file = unpackCDFId(inputs[0]);
  const std::string name = unpackString(inputs[1]);
  const long number = CDFgetVarNum(file, name.c_str());
  check(entry, number);
  outputs[0] = packUpLong(number);
}

void getVarName(int, vlArray* outputs[], int, const vlArray* inputs[],
                const OperationEntry* entry) {
  const Variable variable = unpackVariable(inputs);
  NameBuffer name{};
  check(entry, cdf::onVariable(variable.file, variable.number, GET_, zVAR_NAME_, name.data()));
  outputs[0] = vlCreateString(name.data());
}

void renameVar(int, vlArray*[], int, const vlArray* inputs[], const OperationEntry* entry) {
  const Variable variable = unpackVariable(inputs);
  const std::string name = unpackString(inputs[2]);
  check(entry, cdf::checkVariableName(name));
  check(entry, cdf::onVariable(variable.file, variable.number, PUT_, zVAR_NAME_, name.c_str()));
}

void deleteVar(int, vlArray*[], int, const vlArray* inputs[], const OperationEntry* entry) {
  const Variable variable = unpackVariable(inputs);
  check(entry, cdf::onVariable(variable.file, variable.number, DELETE_, zVAR_));
}

void closeVar(int, vlArray*[], int, const vlArray* inputs[], const OperationEntry* entry) {
  const Variable variable = unpackVariable(inputs);
  check(entry, cdf::onVariable(variable.file, variable.number, CLOSE_, zVAR_));
}

}  // namespace tarvik::ops
