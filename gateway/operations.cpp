#include "gateway/operations.h"

#include <array>
#include <cstdint>
#include <cstring>
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

/// Where a row is found by its name: its index stands at the home of the name or in one of the next
/// places, before the first that is empty.
constexpr std::size_t slotCount = 256;
constexpr std::uint8_t emptySlot = 255;
static_assert(operationCount < slotCount / 2);

/// The length and three characters tell the names apart nearly as well as all characters do.
constexpr std::size_t homeOf(std::string_view name) {
  if (name.empty()) {
    return 0;
  }
  std::size_t hash = name.size();
  for (const char character : {name.front(), name[name.size() / 2], name.back()}) {
    hash = hash * 31 + static_cast<unsigned char>(character);
  }
  return hash % slotCount;
}

constexpr auto slotsByName() {
  std::array<std::uint8_t, slotCount> slots{};
  for (std::uint8_t& slot : slots) {
    slot = emptySlot;
  }
  for (std::size_t i = 0; i < operations.size(); ++i) {
    std::size_t place = homeOf(operations[i].name);
    while (slots[place] != emptySlot) {
      place = (place + 1) % slotCount;
    }
    slots[place] = static_cast<std::uint8_t>(i);
  }
  return slots;
}

constexpr auto slots = slotsByName();

const OperationEntry* findByName(const char* name) {
  for (std::size_t place = homeOf(name); slots[place] != emptySlot;
       place = (place + 1) % slotCount) {
    const OperationEntry* row = &operations[slots[place]];
    if (std::strcmp(name, row->name) == 0) {
      return row;
    }
  }
  return nullptr;
}

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
  const OperationEntry* row = findByName(name);
  if (row == nullptr) {
    vlpErrMsgIdAndTxt("VORLAN:tarvik:invalidOperation", "Unrecognized operation:  \"%s\".", name);
  }
  checkInputCount(*row, numInputs);
  return row;
}

}  // namespace tarvik
