// Values in cells.
#include <string>

#include "runtime/scope.h"
#include "runtime/storage.h"

namespace vlhost {
namespace {

[[noreturn]] void refuse(const char* reason) {
  throw Error("VORLAN:badCell", reason);
}

/// The array that the cell lies in at last, itself where it lies in none. Refuses to store `value`
/// when it is met on the way, since it would then hold itself.
const vlArray* outermost(const vlArray* cell, const vlArray* value) {
  for (;; cell = cell->cell) {
    if (cell == value) refuse("A cell cannot hold itself.");
    if (cell->cell == nullptr) return cell;
  }
}

void check(const vlArray* cell, std::size_t index, const vlArray* value) {
  if (cell->classId != vlCELL_CLASS) refuse("Only a cell array can hold arrays.");
  if (index >= cell->count) {
    throw Error("VORLAN:badCell", "The cell array has " + std::to_string(cell->count) +
                                      " elements, index " + std::to_string(index) +
                                      " is none of them.");
  }
  if (value == nullptr) refuse("A cell cannot hold a null array.");
  if (value->cell != nullptr) refuse("An array cannot be in two cells.");
  // Inputs belong to no call, and are the caller's to keep.
  if (outermost(cell, value)->scope != Scope::current() || value->scope != Scope::current()) {
    refuse("A plug-in can store only what its call made, and only in a cell that its call made.");
  }
}

}  // namespace

const vlArray* cellValue(const vlArray* cell, std::size_t index) {
  const bool there = cell->classId == vlCELL_CLASS && index < cell->count;
  return there ? cell->values()[index] : nullptr;
}

}  // namespace vlhost

extern "C" VLHOST_API void vlSetCell(vlArray* cell, size_t index, vlArray* value) {
  vlhost::check(cell, index, value);
  if (value->scope != nullptr) value->scope->remove(value);
  value->cell = cell;
  vlhost::destroy(cell->values()[index]);
  cell->values()[index] = value;
}
