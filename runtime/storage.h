/// An array in memory.
#pragma once

#include <cstddef>

#include "runtime/host.h"

namespace vlhost {
class BlockTable;
class Scope;
}  // namespace vlhost

/// The dimensions follow at once, and then, aligned to 16 bytes, the elements: a small array is one
/// piece of memory. The elements lie elsewhere when they are large or the program's.
struct alignas(16) vlArray {
  vlArray* previous = nullptr;  ///< In the scope's list.
  vlArray* next = nullptr;
  vlhost::Scope* scope = nullptr;  ///< The call that it belongs to; null once handed out or stored.
  vlArray* cell = nullptr;         ///< The cell that it is stored in.
  vlClassID classId = vlUNKNOWN_CLASS;
  bool inSlot = false;  ///< Found in an output slot.
  std::size_t numDims = 0;
  std::size_t count = 0;
  void* data = nullptr;
  std::size_t mapped = 0;  ///< Bytes of a mapping of their own for the elements, or 0.

  std::size_t* dims() { return reinterpret_cast<std::size_t*>(this + 1); }
  const std::size_t* dims() const { return reinterpret_cast<const std::size_t*>(this + 1); }
  vlArray** values() { return static_cast<vlArray**>(data); }
  vlArray* const* values() const { return static_cast<vlArray* const*>(data); }
};

namespace vlhost {

struct ClassInfo {
  const char* name;
  std::size_t elementSize;  ///< 0 where there can be no array of the class.
  bool numeric;
};

/// The row of a class; that of the unknown class for a number that is none.
const ClassInfo& classInfo(vlClassID classId);

/// Makes an array that belongs to the current scope. Dimensions as host/array.h says.
vlArray* createArray(std::size_t numDims, const std::size_t* dims, vlClassID classId);
/// The same over elements that stay the program's.
vlArray* createOver(std::size_t numDims, const std::size_t* dims, vlClassID classId, void* data);

/// A block of at least that many bytes, which belongs to the current scope.
void* createBlock(std::size_t bytes);
/// Frees every block that the table holds.
void freeBlocks(const BlockTable& blocks);

}  // namespace vlhost
