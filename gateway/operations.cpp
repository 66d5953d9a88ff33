#include "gateway/operations.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "gateway/handlers.h"
#include "host/plugin.h"

namespace tarvik {

namespace {

constexpr std::array rows = {
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

/// The rows in the order of their names, in which a name is found in a few steps.
constexpr auto sortedByName() {
  auto sorted = rows;
  for (std::size_t i = 1; i < sorted.size(); ++i) {
    for (std::size_t j = i; j > 0 && std::string_view(sorted[j].name) < sorted[j - 1].name; --j) {
      const OperationEntry moved = sorted[j];
      sorted[j] = sorted[j - 1];
      sorted[j - 1] = moved;
    }
  }
  return sorted;
}

constexpr auto operations = sortedByName();

constexpr bool namesAndIdsAreUnique() {
  for (std::size_t i = 0; i < operations.size(); ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      if (std::string_view(operations[i].name) == operations[j].name ||
          operations[i].id == operations[j].id) {
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

void checkInputCount(const OperationEntry& row, int numInputs) {
  if (numInputs >= row.minInputs && numInputs <= row.maxInputs) {
    return;
  }
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
  const auto* row = std::lower_bound(operations.begin(), operations.end(), name,
                                     [](const OperationEntry& entry, const char* wanted) {
                                       return std::strcmp(entry.name, wanted) < 0;
                                     });
  if (row == operations.end() || std::strcmp(name, row->name) != 0) {
    vlpErrMsgIdAndTxt("VORLAN:tarvik:invalidOperation", "Unrecognized operation:  \"%s\".", name);
  }
  checkInputCount(*row, numInputs);
  return row;
}

}  // namespace tarvik
