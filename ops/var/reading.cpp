// Reading values of a variable: one, a record, a hyperslab.
#include <cstring>
#include <functional>

#include "convert/numbers.h"
#include "gateway/handlers.h"
#include "gateway/status.h"
#include "ops/var/transfer.h"

namespace tarvik::ops {

namespace {

/// Only a variable without dimensions may be read without indices.
Longs unpackIndices(int numInputs, const vlArray* inputs[],
                    const VariableDescription& description) {
  if (numInputs < 4 && description.numDims != 0) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:getVarData:cannotOmitDimSpec",
                     "The dimension indices argument cannot be omitted when the number of "
                     "dimensions is not zero.");
  }
  Longs indices = numInputs < 4 ? Longs() : unpackVector(inputs[3]);
  if (indices.size() != static_cast<std::size_t>(description.numDims)) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:getVarData:badDimSpec",
                     "The length of the dimension indices argument must equal the number of "
                     "dimensions (%d).",
                     static_cast<int>(description.numDims));
  }
  return indices;
}

/// The dimensions of a value come first and then those of the variable, in the user's order; values
/// of one element need no dimension of their own.
Longs recordDimensions(const OperationEntry* entry, CDFid file,
                       const VariableDescription& description) {
  const long perValue = elementsPerValue(description);
  Longs dims = description.dimSizes;
  adjustToMajority(entry, file, dims);
  if (perValue != 1 || dims.empty()) {
    dims.insert(dims.begin(), perValue);
  }
  return dims;
}

bool hasConstantDimension(const VariableDescription& description) {
  const Longs& varys = description.dimVarys;
  return std::find(varys.begin(), varys.end(), NOVARY) != varys.end();
}

void checkCountsFit(const Longs& counts, const Longs& dimSizes) {
  if (!std::equal(counts.begin(), counts.end(), dimSizes.begin(), std::less_equal<>())) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:hyperGetVarRecordData:dimSizeTooLarge",
                     "The specified dimension size exceeds that of the variable.");
  }
}

/// Strings keep a dimension even where it is 1; the records come last.
Longs slabDimensions(const VariableDescription& description, const cdf::Hyperslab& slab,
                     long majority) {
  Longs dims = slab.counts;
  if (majority == ROW_MAJOR) {
    std::reverse(dims.begin(), dims.end());
  }
  const long perValue = elementsPerValue(description);
  if (perValue != 1 || cdf::isText(description.datatype)) {
    dims.insert(dims.begin(), perValue);
  }
  dims.push_back(slab.recordCount);
  return dims;
}

}  // namespace

void getVarData(int, vlArray* outputs[], int numInputs, const vlArray* inputs[],
                const OperationEntry* entry) {
  const Variable variable = unpackVariable(inputs);
  const long record = unpackLongScalar(inputs[2]);
  const VariableDescription description =
      describeVariable(entry, variable, tag::variableInquiryFailure);
  Longs indices = unpackIndices(numInputs, inputs, description);
  adjustToMajority(entry, variable.file, indices);

  const auto dims = arrayDimensions(entry->name, {elementsPerValue(description), 1});
  const vlClassID classId = mapCdfDatatypeToVorlan(description.datatype);
  outputs[0] = readArray(dims, classId, [&](void* value) {
    check(entry, transfers.getValue(variable.file, variable.number, record, indices, value));
  });
}

void getVarRecordData(int, vlArray* outputs[], int, const vlArray* inputs[],
                      const OperationEntry* entry) {
  const Variable variable = unpackVariable(inputs);
  const long record = unpackLongScalar(inputs[2]);
  const VariableDescription description =
      describeVariable(entry, variable, tag::variableInquiryFailure);
  const vlClassID classId = mapCdfDatatypeToVorlan(description.datatype);

  const Longs shape = recordDimensions(entry, variable.file, description);
  const auto dims = arrayDimensions(entry->name, shape);
  check(entry, cdf::checkRecord(record, description.recVary));
  outputs[0] = readArray(dims, classId, [&](void* values) {
    if (cdf::isText(description.datatype) && hasConstantDimension(description)) {
      // The library gives the stored values only. The rest of the bytes must not be what the memory
      // held before; numeric arrays are zeroed by the host.
      std::memset(values, 0, static_cast<std::size_t>(elementCount(entry->name, shape)));
    }
    check(entry, transfers.getRecord(variable.file, variable.number, record, values));
  });
}

void hyperGetVarData(int, vlArray* outputs[], int, const vlArray* inputs[],
                     const OperationEntry* entry) {
  const Variable variable = unpackVariable(inputs);
  cdf::Hyperslab slab = unpackHyperslab(inputs + 2);
  const VariableDescription description =
      describeVariable(entry, variable, tag::variableInquiryFailure);
  checkListLengths(description, slab);
  const long majority =
      adjustToMajority(entry, variable.file, slab.indices, slab.counts, slab.intervals);
  checkCountsFit(slab.counts, description.dimSizes);

  const auto dims = arrayDimensions(entry->name, slabDimensions(description, slab, majority));
  const vlClassID classId = mapCdfDatatypeToVorlan(description.datatype);
  check(entry, cdf::checkHyperslabToRead(slab, description));
  outputs[0] = readArray(dims, classId, [&](void* values) {
    check(entry, transfers.getHyperslab(variable.file, variable.number, slab, values));
  });
}

}  // namespace tarvik::ops
