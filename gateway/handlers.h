/// Declares the handler of every row of the operation table.
#pragma once

#include "gateway/operations.h"

namespace tarvik::ops {

#define OPERATION(name, handler, id, minInputs, maxInputs) OperationHandler handler;
#include "gateway/operations.def"
#undef OPERATION

}  // namespace tarvik::ops
