#include "gateway/operations.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include "gateway/handlers.h"
#include "host/plugin.h"

namespace tarvik {

namespace {

constexpr std::array operations = {
#define OPERATION(name, handler, id, minInputs, maxInputs) \
  OperationEntry{id, #name, minInputs, maxInputs, ops::handler},
#include "gateway/operations.def"
#undef OPERATION
};

#ifdef TARVIK_EXTENDED
constexpr std::size_t operationCount = 90;
#else
constexpr std::size_t operationCount = 88;
#endif

/// Comparing lengths first makes the search over all rows cheap.
constexpr auto operationNames = [] {
  std::array<std::string_view, operations.size()> names{};
  for (std::size_t i = 0; i < names.size(); ++i) {
    names[i] = operations[i].name;
  }
  return names;
}();

constexpr bool namesAndIdsAreUnique() {
  for (std::size_t i = 0; i < operations.size(); ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      if (operationNames[i] == operationNames[j] || operations[i].id == operations[j].id) {
        return false;
      }
    }
  }
  return true;
}

constexpr bool rowsAreComplete() {
  for (const OperationEntry& row : operations) {
    if (row.minInputs < 0 || row.minInputs > row.maxInputs || row.handler == nullptr) {
      return false;
    }
  }
  return true;
}

static_assert(operations.size() == operationCount);
static_assert(namesAndIdsAreUnique());
static_assert(rowsAreComplete());

constexpr const char* tooFewInputs = "VORLAN:tarvik:tooFewInputs";
constexpr const char* tooManyInputs = "VORLAN:tarvik:tooManyInputs";

[[noreturn]] void raiseInputCount(const OperationEntry& row, int numInputs) {
  const bool few = numInputs < row.minInputs;
  const char* identifier = few ? tooFewInputs : tooManyInputs;
  if (row.minInputs == row.maxInputs) {
    vlpErrMsgIdAndTxt(identifier, "%d inputs were given to %s, but %d are required.", numInputs,
                      row.name, row.minInputs);
  }
  if (few) {
    vlpErrMsgIdAndTxt(identifier, "%d inputs were given to %s, but at least %d are required.",
                      numInputs, row.name, row.minInputs);
  }
  vlpErrMsgIdAndTxt(identifier, "%d inputs were given to %s, but no more than %d are allowed.",
                    numInputs, row.name, row.maxInputs);
}

}  // namespace

const OperationEntry* findOperation(const char* name, int numInputs) {
  const auto* found =
      std::find(operationNames.begin(), operationNames.end(), std::string_view(name));
  if (found == operationNames.end()) {
    vlpErrMsgIdAndTxt("VORLAN:tarvik:invalidOperation", "Unrecognized operation:  \"%s\".", name);
  }
  const OperationEntry& row = operations[static_cast<std::size_t>(found - operationNames.begin())];
  if (numInputs < row.minInputs || numInputs > row.maxInputs) {
    raiseInputCount(row, numInputs);
  }
  return &row;
}

}  // namespace tarvik
