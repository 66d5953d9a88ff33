/// Values between host arrays and the library. Numbers are never copied: the library reads and
/// writes the arrays' own memory. Only characters pass through bytes.
#pragma once

#include "cdf/guards.h"
#include "cdf/library.h"
#include "convert/datatypes.h"
#include "convert/memory.h"
#include "convert/numbers.h"
#include "convert/text.h"
#include "gateway/operations.h"
#include "gateway/status.h"
#include "ops/var/variable.h"

namespace tarvik::ops {

/// The calls that move values.
struct Transfers {
  decltype(cdf::getValue)* getValue;
  decltype(cdf::putValue)* putValue;
  decltype(cdf::getRecord)* getRecord;
  decltype(cdf::putRecord)* putRecord;
  decltype(cdf::getHyperslab) getHyperslab;
  decltype(cdf::putHyperslab) putHyperslab;
};
extern const Transfers transfers;

/// Host elements in one value: the two doubles of an epoch16 value, the characters of a string, one
/// of anything else. There the library's number of elements is 1; it counts all the same, so that a
/// forged file that the screen cannot look into does not reach past the array.
inline long elementsPerValue(const VariableDescription& description) {
  return description.datatype == CDF_EPOCH16 ? 2 * description.numElements
                                             : description.numElements;
}

/// The inputs of a hyperslab operation from the record start on: record start, count and interval,
/// then dimension indices, counts and intervals, in the user's order of dimensions.
cdf::Hyperslab unpackHyperslab(const vlArray* inputs[]);

/// Raises "badLength", under the name of hyperGetVarRecordData in reading and in writing, unless
/// the three lists have one entry for each dimension.
void checkListLengths(const VariableDescription& description, const cdf::Hyperslab& slab);

/// Raises `identifier`, a "datatypeMismatch", unless the value has exactly the class of the
/// variable's datatype.
void checkClass(const VariableDescription& description, const vlArray* value,
                const char* identifier);

/// What an operation says of an array that does not hold exactly one value of a variable. The
/// messages take the variable's name and its number of elements.
struct ValueCountError {
  const char* identifier;
  const char* ofEpoch16;
  const char* ofCharacters;
  const char* ofNumbers;
};

void checkOneValue(const VariableDescription& description, const vlArray* value,
                   const ValueCountError& error);

/// A new array that `read` fills: it is given the array's own memory, or for characters at least
/// `leastBytes` bytes, from which the array is filled.
template <typename Read>
vlArray* readArray(const Sizes& dims, vlClassID classId, Read read, std::size_t leastBytes = 0) {
  if (classId != vlCHAR_CLASS) {
    vlArray* values = vlCreateNumericArray(dims.size(), dims.data(), classId, vlREAL);
    read(vlGetData(values));
    return values;
  }
  vlArray* text = vlCreateCharArray(dims.size(), dims.data());
  const HostBytes bytes = allocateBytes(std::max(vlGetNumberOfElements(text), leastBytes));
  read(bytes.get());
  widen(bytes.get(), text);
  return text;
}

/// Gives `write` the value's own memory, or for characters its bytes, which are released when it
/// returns; gives what `write` gave.
template <typename Write>
auto writeArray(const vlArray* value, Write write) {
  if (vlGetClassID(value) != vlCHAR_CLASS) {
    return write(static_cast<const void*>(vlGetData(value)));
  }
  const HostBytes bytes = narrow(value);
  return write(static_cast<const void*>(bytes.get()));
}

}  // namespace tarvik::ops
