// Writing values of a variable: one, a record, a hyperslab. Of the values only the number of
// elements and the class count; their shape does not matter. Every check stands before the
// library's call.
#include <algorithm>
#include <string>

#include "convert/numbers.h"
#include "gateway/handlers.h"
#include "gateway/status.h"
#include "ops/var/transfer.h"

namespace tarvik::ops {

namespace {

constexpr ValueCountError wrongNumberOfElements{
    "VORLAN:tarvik:putVarData:wrongNumberOfElements",
    "When using putVarData with variable \"%s\", exactly 2 double precision values must be "
    "provided.",
    "When using putVarData with variable \"%s\", exactly %d elements must be provided.",
    "When using putVarData with variable \"%s\", exactly 1 element must be provided."};

void checkIndices(const VariableDescription& description, const Longs& indices) {
  if (indices.size() != static_cast<std::size_t>(description.numDims)) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:putVarData:badDimensionExtent",
                     "CDF variable \"%s\" requires a dimension argument of length %u.",
                     description.name.data(), static_cast<unsigned>(description.numDims));
  }
}

void checkOneRecord(const OperationEntry* entry, const VariableDescription& description,
                    const vlArray* values) {
  Longs factors = description.dimSizes;
  factors.push_back(elementsPerValue(description));
  const long expected = elementCount(entry->name, factors);
  if (vlGetNumberOfElements(values) != static_cast<std::size_t>(expected)) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:putVarRecordData:wrongNumberOfElements",
                     "When writing a record to variable \"%s\", exactly %u elements must be "
                     "provided.",
                     description.name.data(), static_cast<unsigned>(expected));
  }
}

/// "[ 2 3 ]" for the counts 2 and 3.
std::string bracketed(const Longs& counts) {
  std::string text = "[";
  for (const long count : counts) {
    text += " " + std::to_string(count);
  }
  return text + " ]";
}

void checkValueCount(const OperationEntry* entry, const VariableDescription& description,
                     const cdf::Hyperslab& slab, const vlArray* values) {
  Longs factors = {slab.recordCount, elementsPerValue(description)};
  factors.insert(factors.end(), slab.counts.begin(), slab.counts.end());
  const long expected = elementCount(entry->name, factors);
  if (vlGetNumberOfElements(values) != static_cast<std::size_t>(expected)) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:hyperPutVarData:wrongNumberOfElements",
                     "When specifying a dimension count of %s and a record count of %d with "
                     "variable \"%s\", exactly %u elements must be provided.",
                     bracketed(slab.counts).c_str(), static_cast<int>(slab.recordCount),
                     description.name.data(), static_cast<unsigned>(expected));
  }
}

}  // namespace

void putVarData(int, vlArray*[], int, const vlArray* inputs[], const OperationEntry* entry) {
  const Variable variable = unpackVariable(inputs);
  const long record = unpackLongScalar(inputs[2]);
  Longs indices = unpackVector(inputs[3]);
  const VariableDescription description =
      describeVariable(entry, variable, tag::variableInquiryFailure);
  adjustToMajority(entry, variable.file, indices);
  checkIndices(description, indices);
  checkOneValue(description, inputs[4], wrongNumberOfElements);
  checkClass(description, inputs[4], "VORLAN:tarvik:putVarData:datatypeMismatch");

  check(entry, cdf::checkRecordToWrite(record, description.recVary));
  check(entry, writeArray(inputs[4], [&](const void* value) {
          return transfers.putValue(variable.file, variable.number, record, indices, value);
        }));
}

void putVarRecordData(int, vlArray*[], int, const vlArray* inputs[], const OperationEntry* entry) {
  const Variable variable = unpackVariable(inputs);
  const long record = unpackLongScalar(inputs[2]);
  const VariableDescription description =
      describeVariable(entry, variable, tag::variableInquiryFailure);
  checkOneRecord(entry, description, inputs[3]);
  checkClass(description, inputs[3], "VORLAN:tarvik:putVarRecordData:datatypeMismatch");

  check(entry, cdf::checkRecord(record, description.recVary));
  check(entry, writeArray(inputs[3], [&](const void* values) {
          return transfers.putRecord(variable.file, variable.number, record, values);
        }));
}

void hyperPutVarData(int, vlArray*[], int, const vlArray* inputs[], const OperationEntry* entry) {
  const Variable variable = unpackVariable(inputs);
  cdf::Hyperslab slab = unpackHyperslab(inputs + 2);
  const VariableDescription description =
      describeVariable(entry, variable, tag::variableInquiryFailure);
  checkListLengths(description, slab);
  adjustToMajority(entry, variable.file, slab.indices, slab.counts, slab.intervals);
  checkValueCount(entry, description, slab, inputs[8]);
  checkClass(description, inputs[8], "VORLAN:tarvik:hyperPutVarData:datatypeMismatch");

  check(entry, cdf::checkHyperslab(slab, description));
  check(entry, writeArray(inputs[8], [&](const void* values) {
          return transfers.putHyperslab(variable.file, variable.number, slab, values);
        }));
}

}  // namespace tarvik::ops
