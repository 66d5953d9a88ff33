/// Settings of a file that are one number.
#pragma once

#include "cdf/library.h"
#include "convert/numbers.h"
#include "gateway/registry.h"
#include "gateway/status.h"

namespace tarvik::ops {

/// The number that `items`, GET_ or CONFIRM_ and an item, give for the file of the first input.
template <typename... Items>
long askFile(const vlArray* inputs[], const OperationEntry* entry, Items... items) {
  const CDFid file = unpackCDFId(inputs[0]);
  long value = 0;
  check(entry, cdf::onFile(file, items..., &value));
  return value;
}

/// Gives the second input to `items`: PUT_ and an item, or an item alone, which selects.
template <typename... Items>
void tellFile(const vlArray* inputs[], const OperationEntry* entry, Items... items) {
  const CDFid file = unpackCDFId(inputs[0]);
  const long value = unpackLongScalar(inputs[1]);
  check(entry, cdf::onFile(file, items..., value));
}

}  // namespace tarvik::ops
