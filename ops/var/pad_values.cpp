// The pad value of a variable: one value of its datatype, without dimensions, so that the file's
// majority plays no part.
#include <cstring>

#include "cdf/library.h"
#include "gateway/handlers.h"
#include "gateway/status.h"
#include "ops/var/transfer.h"

namespace tarvik::ops {

namespace {

constexpr ValueCountError wrongNumberOfElements{
    "VORLAN:tarvik:setVarPadValue:wrongNumberOfElements",
    "The pad value for variable \"%s\" must consist of a two-element double precision value.",
    "The pad value for variable \"%s\" must have %d elements.",
    "The pad value for variable \"%s\" must consist of a scalar value."};

/// The characters of one record, which is what the library is given room for.
std::size_t recordCharacters(const OperationEntry* entry, const VariableDescription& description) {
  Longs factors = description.dimSizes;
  factors.push_back(description.numElements);
  return static_cast<std::size_t>(elementCount(entry->name, factors));
}

}  // namespace

void getVarPadValue(int, vlArray* outputs[], int, const vlArray* inputs[],
                    const OperationEntry* entry) {
  const Variable variable = unpackVariable(inputs);
  const VariableDescription description =
      describeVariable(entry, variable, tag::variableInquiryFailure);
  const auto dims = arrayDimensions(entry->name, {elementsPerValue(description), 1});
  const vlClassID classId = mapCdfDatatypeToVorlan(description.datatype);
  const std::size_t room =
      classId == vlCHAR_CLASS ? recordCharacters(entry, description) : std::size_t{0};
  outputs[0] = readArray(
      dims, classId,
      [&](void* value) {
        // Of its own pad value for text the library gives one character and leaves the rest.
        std::memset(value, 0, room);
        check(entry, cdf::onVariable(variable.file, variable.number, GET_, zVAR_PADVALUE_, value));
      },
      room);
}

void setVarPadValue(int, vlArray*[], int, const vlArray* inputs[], const OperationEntry* entry) {
  const Variable variable = unpackVariable(inputs);
  const VariableDescription description =
      describeVariable(entry, variable, tag::variableInquiryFailure);
  checkClass(description, inputs[2], "VORLAN:tarvik:setVarPadValue:datatypeMismatch");
  checkOneValue(description, inputs[2], wrongNumberOfElements);
  check(entry, writeArray(inputs[2], [&](const void* value) {
          return cdf::onVariable(variable.file, variable.number, PUT_, zVAR_PADVALUE_, value);
        }));
}

}  // namespace tarvik::ops
