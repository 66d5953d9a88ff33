/// The variable that an operation is about, and what the library says of it.
///
/// Every variable is a z-variable, addressed by the library's zero-based number.
#pragma once

#include <algorithm>

#include "cdf/functions.h"
#include "cdf/items.h"
#include "cdf/lists.h"
#include "cdf/transfers.h"
#include "gateway/operations.h"
#include "host/array.h"

namespace tarvik::ops {

struct Variable {
  CDFid file;
  long number;
};

/// The first two inputs: a file identifier and a variable number.
Variable unpackVariable(const vlArray* inputs[]);

struct VariableDescription {
  Variable variable;
  long datatype = 0;
  /// The string length for CDF_CHAR and CDF_UCHAR, 1 for every other datatype.
  long numElements = 0;
  long numDims = 0;
  long recVary = 0;
  long sparseRecords = 0;
  Longs dimSizes;     ///< One for each dimension, in the library's order.
  Longs dimVarys;     ///< As dimSizes.
  long majority = 0;  ///< Of the file; 0 where the library would not tell.

  /// Asked for when it is needed, which is in messages mostly; empty where it cannot be had.
  NameBuffer name() const;
  cdf::Records records() const { return {recVary != NOVARY, sparseRecords != NO_SPARSERECORDS}; }
};

/// Raises the failure of the inquiry under the tag `step`. The majority is asked for in the same
/// request; that it cannot be had is for `majorityOf` to raise.
VariableDescription describeVariable(const OperationEntry* entry, const Variable& variable,
                                     const char* step);

/// As describeVariable, without dimSizes and dimVarys: what one value needs. The library takes
/// longer over each of the two than over reading the value.
VariableDescription describeValue(const OperationEntry* entry, const Variable& variable,
                                  const char* step);

/// ROW_MAJOR or COLUMN_MAJOR. Raises "majorityInquiryFailure".
long inquireMajority(const OperationEntry* entry, CDFid file);

/// The majority of the file of a variable that was described. Raises "majorityInquiryFailure".
inline long majorityOf(const OperationEntry* entry, const Variable& variable,
                       const VariableDescription& description) {
  return description.majority != 0 ? description.majority : inquireMajority(entry, variable.file);
}

/// Turns lists that have one entry for each dimension from the user's order to the library's, or
/// back: values are never reordered, so the dimensions of a row-major file are reversed instead.
template <typename... Lists>
void adjustToMajority(long majority, Lists&... lists) {
  if (majority == ROW_MAJOR) {
    (std::reverse(lists.begin(), lists.end()), ...);
  }
}

}  // namespace tarvik::ops
