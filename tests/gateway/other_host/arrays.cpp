#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <numeric>
#include <set>

#include "tests/gateway/other_host/host.h"

namespace other {
namespace {

std::vector<Owned> made;
std::set<void*> blocks;

constexpr struct {
  const char* name;
  size_t bytes;
} classes[] = {{"unknown", 0}, {"cell", 0},   {"struct", 0}, {"logical", 1}, {"char", 2},
               {"double", 8},  {"single", 4}, {"int8", 1},   {"uint8", 1},   {"int16", 2},
               {"uint16", 2},  {"int32", 4},  {"uint32", 4}, {"int64", 8},   {"uint64", 8}};

vlArray* keep(Owned array) {
  made.push_back(std::move(array));
  return made.back().get();
}

}  // namespace

Owned make(vlClassID classId, const std::vector<size_t>& dims) {
  auto array = std::make_unique<vlArray>();
  array->classId = classId;
  array->dims = dims;
  if (dims.empty()) {
    array->dims = {0, 0};
  } else if (dims.size() == 1) {
    array->dims.push_back(1);
  }
  array->bytes.resize(vlGetNumberOfElements(array.get()) * classes[classId].bytes);
  return array;
}

Owned take(vlArray* array) {
  const auto place = std::find_if(made.begin(), made.end(),
                                  [array](const Owned& one) { return one.get() == array; });
  Owned taken = std::move(*place);
  made.erase(place);
  return taken;
}

size_t endCall() {
  const size_t left = blocks.size();
  made.clear();
  std::for_each(blocks.begin(), blocks.end(), std::free);
  blocks.clear();
  return left;
}

}  // namespace other

using other::keep;
using other::make;

extern "C" {

vlClassID vlGetClassID(const vlArray* array) {
  return array->classId;
}
const char* vlGetClassName(const vlArray* array) {
  return other::classes[array->classId].name;
}
size_t vlGetNumberOfElements(const vlArray* array) {
  return std::accumulate(array->dims.begin(), array->dims.end(), size_t{1}, std::multiplies<>());
}
size_t vlGetNumberOfDimensions(const vlArray* array) {
  return array->dims.size();
}
const size_t* vlGetDimensions(const vlArray* array) {
  return array->dims.data();
}
void* vlGetData(const vlArray* array) {
  return const_cast<unsigned char*>(array->bytes.data());
}
vlLogical* vlGetLogicals(const vlArray* array) {
  return array->classId == vlLOGICAL_CLASS ? static_cast<vlLogical*>(vlGetData(array)) : nullptr;
}
char* vlArrayToString(const vlArray* array) {
  const size_t count = vlGetNumberOfElements(array);
  auto* text = static_cast<char*>(vlMalloc(count + 1));
  const auto* units = static_cast<const vlChar*>(vlGetData(array));
  std::transform(units, units + count, text, [](vlChar unit) { return static_cast<char>(unit); });
  text[count] = '\0';
  return text;
}

vlArray* vlCreateDoubleScalar(double value) {
  vlArray* array = vlCreateNumericMatrix(1, 1, vlDOUBLE_CLASS, vlREAL);
  std::memcpy(array->bytes.data(), &value, sizeof(value));
  return array;
}
vlArray* vlCreateString(const char* text) {
  const size_t dims[] = {1, std::strlen(text)};
  vlArray* array = vlCreateCharArray(2, dims);
  std::transform(text, text + dims[1], static_cast<vlChar*>(vlGetData(array)),
                 [](char byte) { return static_cast<unsigned char>(byte); });
  return array;
}
vlArray* vlCreateCharArray(size_t numDims, const size_t* dims) {
  return keep(make(vlCHAR_CLASS, {dims, dims + numDims}));
}
vlArray* vlCreateNumericArray(size_t numDims, const size_t* dims, vlClassID classId, vlComplexity) {
  return keep(make(classId, {dims, dims + numDims}));
}
vlArray* vlCreateNumericMatrix(size_t rows, size_t columns, vlClassID classId, vlComplexity) {
  return keep(make(classId, {rows, columns}));
}
vlArray* vlCreateLogicalArray(size_t numDims, const size_t* dims) {
  return keep(make(vlLOGICAL_CLASS, {dims, dims + numDims}));
}
vlArray* vlCreateCellMatrix(size_t rows, size_t columns) {
  vlArray* cell = keep(make(vlCELL_CLASS, {rows, columns}));
  cell->cells.resize(rows * columns);
  return cell;
}
void vlSetCell(vlArray* cell, size_t index, vlArray* value) {
  cell->cells.at(index) = value;
}

void* vlMalloc(size_t size) {
  return *other::blocks.insert(std::malloc(size)).first;
}
void vlFree(void* block) {
  other::blocks.erase(block);
  std::free(block);
}

}  // extern "C"
