/// The variable that an operation is about, and what the library says of it.
///
/// Every variable is a z-variable, addressed by the library's zero-based number.
#pragma once

#include <algorithm>

#include "cdf/library.h"
#include "gateway/operations.h"
#include "gateway/status.h"
#include "host/array.h"

namespace tarvik::ops {

struct Variable {
  CDFid file;
  long number;
};

/// The first two inputs: a file identifier and a variable number.
Variable unpackVariable(const vlArray* inputs[]);

using cdf::VariableDescription;

/// Raises the failure of the inquiry under the tag `step`.
VariableDescription describeVariable(const OperationEntry* entry, const Variable& variable,
                                     const char* step);

/// Turns lists that have one entry for each dimension from the user's order to the library's, or
/// back: values are never reordered, so the dimensions of a row-major file are reversed instead.
/// Gives the file's majority. Raises "majorityInquiryFailure".
template <typename... Lists>
long adjustToMajority(const OperationEntry* entry, CDFid file, Lists&... lists) {
  long majority = 0;
  check(entry, cdf::onFile(file, GET_, CDF_MAJORITY_, &majority), tag::majorityInquiryFailure);
  if (majority == ROW_MAJOR) {
    (std::reverse(lists.begin(), lists.end()), ...);
  }
  return majority;
}

}  // namespace tarvik::ops
