/// The operation table and its search.
#pragma once

#include <cstdint>

#include "host/array.h"

namespace tarvik {

struct OperationEntry;

/// Carries an operation out: reads its inputs, calls the library and stores all of its outputs, in
/// their order, whatever number the caller asked for. `inputArgs` begins behind the operation's
/// name, and `numInputs` counts from there.
using OperationHandler = void(int numOutputs, vlArray* outputSlots[], int numInputs,
                              const vlArray* inputArgs[], const OperationEntry* entry);

/// One row of the operation table.
struct OperationEntry {
  std::int32_t id;
  const char* name;
  std::int32_t minInputs;
  std::int32_t maxInputs;
  OperationHandler* handler;
};

/// The row of the operation called exactly `name`, once `numInputs`, counted after the name, is
/// found to be within its bounds. Raises "invalidOperation", "tooFewInputs" or "tooManyInputs".
const OperationEntry* findOperation(const char* name, int numInputs);

}  // namespace tarvik
