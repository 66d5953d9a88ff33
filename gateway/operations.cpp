#include "gateway/operations.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

#include "gateway/handlers.h"
#include "host/plugin.h"

namespace tarvik {

namespace {

constexpr OperationEntry operations[] = {
#define OPERATION(name, handler, id, minInputs, maxInputs) \
  {id, #name, minInputs, maxInputs, ops::handler},
#include "gateway/operations.def"
#undef OPERATION
};

constexpr bool namesAndIdsAreUnique() {
  for (std::size_t i = 0; i < std::size(operations); ++i) {
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

static_assert(std::size(operations) == 88);
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
  const auto* row = std::find_if(
      std::begin(operations), std::end(operations),
      [name](const OperationEntry& entry) { return std::strcmp(name, entry.name) == 0; });
  if (row == std::end(operations)) {
    vlpErrMsgIdAndTxt("VORLAN:tarvik:invalidOperation", "Unrecognized operation:  \"%s\".", name);
  }
  checkInputCount(*row, numInputs);
  return row;
}

}  // namespace tarvik
