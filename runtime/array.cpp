// The calls of host/array.h that make and read arrays.
#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <string>

#include "runtime/memory.h"
#include "runtime/storage.h"

namespace vlhost {
namespace {

constexpr ClassInfo kClasses[] = {
    {"unknown", 0, false},
    {"cell", sizeof(vlArray*), false},
    {"struct", 0, false},
    {"logical", sizeof(vlLogical), false},
    {"char", sizeof(vlChar), false},
    {"double", sizeof(double), true},
    {"single", sizeof(float), true},
    {"int8", 1, true},
    {"uint8", 1, true},
    {"int16", 2, true},
    {"uint16", 2, true},
    {"int32", 4, true},
    {"uint32", 4, true},
    {"int64", 8, true},
    {"uint64", 8, true},
};
static_assert(std::size(kClasses) == vlUINT64_CLASS + 1,
              "one row a class, in the order of the ids");

vlArray* createRow(std::string_view bytes) {
  const std::array<std::size_t, 2> dims{1, bytes.size()};
  vlArray* array = createArray(dims.size(), dims.data(), vlCHAR_CLASS);
  std::transform(bytes.begin(), bytes.end(), static_cast<vlChar*>(array->data),
                 [](char byte) { return static_cast<unsigned char>(byte); });
  return array;
}

}  // namespace

const ClassInfo& classInfo(vlClassID classId) {
  const auto row = static_cast<std::size_t>(classId);
  return kClasses[row < std::size(kClasses) ? row : 0];
}

Array text(std::string_view bytes) {
  return Array(createRow(bytes));
}

Array borrow(const std::vector<std::size_t>& dims, vlClassID classId, const void* data) {
  if (!classInfo(classId).numeric && classId != vlLOGICAL_CLASS) {
    throw Error("VORLAN:badArray", std::string("Memory cannot be borrowed for an array of class ") +
                                       classInfo(classId).name + ".");
  }
  // Inputs reach a plug-in as constants; what it changes all the same is its own doing.
  return Array(createOver(dims.size(), dims.data(), classId, const_cast<void*>(data)));
}

}  // namespace vlhost

extern "C" {

VLHOST_API vlClassID vlGetClassID(const vlArray* array) {
  return array->classId;
}

VLHOST_API const char* vlGetClassName(const vlArray* array) {
  return vlhost::classInfo(array->classId).name;
}

VLHOST_API size_t vlGetNumberOfElements(const vlArray* array) {
  return array->count;
}

VLHOST_API size_t vlGetNumberOfDimensions(const vlArray* array) {
  return array->numDims;
}

VLHOST_API const size_t* vlGetDimensions(const vlArray* array) {
  return array->dims();
}

VLHOST_API void* vlGetData(const vlArray* array) {
  return array->classId == vlCELL_CLASS ? nullptr : array->data;
}

VLHOST_API vlLogical* vlGetLogicals(const vlArray* array) {
  return array->classId == vlLOGICAL_CLASS ? static_cast<vlLogical*>(array->data) : nullptr;
}

VLHOST_API char* vlArrayToString(const vlArray* array) {
  if (array->classId != vlCHAR_CLASS) return nullptr;
  char* const bytes = static_cast<char*>(vlhost::createBlock(array->count + 1));
  const vlChar* const elements = static_cast<const vlChar*>(array->data);
  std::transform(elements, elements + array->count, bytes,
                 [](vlChar element) { return static_cast<char>(element & 0xFF); });
  bytes[array->count] = '\0';
  return bytes;
}

VLHOST_API vlArray* vlCreateDoubleScalar(double value) {
  vlArray* array = vlCreateNumericMatrix(1, 1, vlDOUBLE_CLASS, vlREAL);
  *static_cast<double*>(array->data) = value;
  return array;
}

VLHOST_API vlArray* vlCreateString(const char* text) {
  return vlhost::createRow(text);
}

VLHOST_API vlArray* vlCreateCharArray(size_t numDims, const size_t* dims) {
  return vlhost::createArray(numDims, dims, vlCHAR_CLASS);
}

VLHOST_API vlArray* vlCreateNumericArray(size_t numDims, const size_t* dims, vlClassID classId,
                                         vlComplexity complexity) {
  const vlhost::ClassInfo& info = vlhost::classInfo(classId);
  if (!info.numeric) {
    throw vlhost::Error("VORLAN:badArray",
                        std::string("A numeric array cannot be of class ") + info.name + ".");
  }
  if (complexity != vlREAL) {
    throw vlhost::Error("VORLAN:badArray", "This host has no complex arrays.");
  }
  return vlhost::createArray(numDims, dims, classId);
}

VLHOST_API vlArray* vlCreateNumericMatrix(size_t rows, size_t columns, vlClassID classId,
                                          vlComplexity complexity) {
  const std::array<size_t, 2> dims{rows, columns};
  return vlCreateNumericArray(dims.size(), dims.data(), classId, complexity);
}

VLHOST_API vlArray* vlCreateLogicalArray(size_t numDims, const size_t* dims) {
  return vlhost::createArray(numDims, dims, vlLOGICAL_CLASS);
}

VLHOST_API vlArray* vlCreateCellMatrix(size_t rows, size_t columns) {
  const std::array<size_t, 2> dims{rows, columns};
  return vlhost::createArray(dims.size(), dims.data(), vlCELL_CLASS);
}

}  // extern "C"
