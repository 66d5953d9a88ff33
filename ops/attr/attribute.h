/// The attribute that an operation is about, and its scope.
#pragma once

#include "cdf/functions.h"
#include "gateway/operations.h"
#include "host/array.h"

namespace tarvik::ops {

struct Attribute {
  CDFid file;
  long number;
};

/// The first two inputs: a file identifier and an attribute number.
Attribute unpackAttribute(const vlArray* inputs[]);

/// The library's scope code. Raises the failure of the inquiry under the tag `step`.
long inquireScope(const OperationEntry* entry, const Attribute& attribute, const char* step);

/// A new string, "GLOBAL_SCOPE" or "VARIABLE_SCOPE". Raises "unhandledScope" of packUpScope.
vlArray* packUpScope(long scope);

}  // namespace tarvik::ops
