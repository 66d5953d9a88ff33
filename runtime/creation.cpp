// Making and destroying arrays.
#include <algorithm>
#include <array>
#include <memory>
#include <new>
#include <utility>

#include "runtime/mappings.h"
#include "runtime/memory.h"
#include "runtime/scope.h"
#include "runtime/storage.h"

namespace vlhost {
namespace {

/// Dimensions as an array keeps them.
class Shape {
 public:
  Shape(std::size_t numDims, const std::size_t* dims) : numDims_(numDims), dims_(dims) {
    if (numDims >= 2) return;
    if (numDims == 1) matrix_ = {dims[0], 1};
    numDims_ = 2;
    dims_ = matrix_.data();
  }
  Shape(const Shape&) = delete;
  Shape& operator=(const Shape&) = delete;

  std::size_t numDims() const { return numDims_; }
  const std::size_t* begin() const { return dims_; }
  const std::size_t* end() const { return dims_ + numDims_; }

  /// The number of elements; raises where the bytes of so many cannot even be counted.
  std::size_t count(std::size_t elementSize) const {
    std::size_t count = 1, bytes = 0;
    bool tooLarge = false;
    for (const std::size_t dim : *this) tooLarge |= __builtin_mul_overflow(count, dim, &count);
    tooLarge |= __builtin_mul_overflow(count, elementSize, &bytes);
    // A dimension of 0 makes it 0 elements, whatever the others are.
    if (tooLarge && std::find(begin(), end(), std::size_t{0}) == end()) raiseTooLarge();
    return count;
  }

 private:
  [[noreturn]] static void raiseTooLarge() {
    throw Error("VORLAN:outOfMemory",
                "Out of memory: the dimensions describe an array larger than any memory.");
  }

  std::array<std::size_t, 2> matrix_{};
  std::size_t numDims_;
  const std::size_t* dims_;
};

struct HeapFree {
  void operator()(vlArray* array) const { heapFree(array); }
};
using NewArray = std::unique_ptr<vlArray, HeapFree>;

/// Bytes before the elements: the array itself and its dimensions.
std::size_t headerBytes(std::size_t numDims) {
  constexpr std::size_t kAlignment = alignof(vlArray);
  const std::size_t bytes = sizeof(vlArray) + numDims * sizeof(std::size_t);
  return (bytes + kAlignment - 1) / kAlignment * kAlignment;
}

NewArray newArray(const Shape& shape, std::size_t bytes, vlClassID classId) {
  NewArray array(new (heapMemory(bytes)) vlArray);
  array->classId = classId;
  array->numDims = shape.numDims();
  std::copy(shape.begin(), shape.end(), array->dims());
  return array;
}

/// Gives a finished array to the scope that it is made in, if any.
vlArray* enter(NewArray array) {
  if (Scope* scope = Scope::current()) scope->add(array.get());
  return array.release();
}

}  // namespace

vlArray* createArray(std::size_t numDims, const std::size_t* dims, vlClassID classId) {
  const Shape shape(numDims, dims);
  const std::size_t elementSize = classInfo(classId).elementSize;
  const std::size_t count = shape.count(elementSize);
  const std::size_t bytes = count * elementSize;
  const std::size_t header = headerBytes(shape.numDims());

  Counted counted(Kind::array, bytes);
  NewArray array = newArray(shape, bytes < kLargeBytes ? header + bytes : header, classId);
  array->count = count;
  if (bytes < kLargeBytes) {
    array->data = reinterpret_cast<char*>(array.get()) + header;
    zero(array->data, bytes);  // calloc would pass by the heap's fast lists
  } else {
    array->data = mapZeroed(bytes);
    array->mapped = bytes;
  }
  counted.keep();
  return enter(std::move(array));
}

vlArray* createOver(std::size_t numDims, const std::size_t* dims, vlClassID classId, void* data) {
  const Shape shape(numDims, dims);
  const std::size_t count = shape.count(classInfo(classId).elementSize);
  if (data == nullptr && count > 0) {
    throw Error("VORLAN:badArray", "An array with elements needs memory for them.");
  }
  Counted counted(Kind::array, 0);
  NewArray array = newArray(shape, headerBytes(shape.numDims()), classId);
  array->count = count;
  array->data = data;
  counted.keep();
  return enter(std::move(array));
}

void destroy(vlArray* array) {
  if (array == nullptr) return;
  if (array->scope != nullptr) array->scope->remove(array);
  // Cells may lie in cells to any depth: what is left to do is a list, not a recursion.
  vlArray* pending = array;
  while (pending != nullptr) {
    vlArray* const gone = pending;
    pending = gone->next;
    const std::size_t numValues = gone->classId == vlCELL_CLASS ? gone->count : 0;
    for (std::size_t i = 0; i < numValues; ++i) {
      vlArray* const value = gone->values()[i];
      if (value == nullptr) continue;
      value->next = pending;
      pending = value;
    }
    if (gone->mapped > 0) unmap(gone->data, gone->mapped);
    heapFree(gone);
    countGone(Kind::array);
  }
}

}  // namespace vlhost
