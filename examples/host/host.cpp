// A complete host for the gateway: it provides the functions of host/array.h and host/plugin.h,
// loads the plug-in, lists the variables of a CDF file and reads a part of one.
//
//     example_host FILE VARIABLE
//
// The variable is of CDF_REAL4 and has one dimension. An unknown one shows an error of the gateway.
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/plugin.h"

using Array = std::unique_ptr<vlArray>;
using Block = std::unique_ptr<void, decltype(&std::free)>;

struct vlArray {
  vlClassID classId;
  std::vector<size_t> dims;
  size_t count;                      // the product of the dimensions
  std::vector<unsigned char> bytes;  // the elements, zeroed
  std::vector<Array> cells;          // of a cell array instead
};

namespace {

/// Names and bytes of an element, in the order of vlClassID.
const std::pair<const char*, size_t> classes[] = {
    {"unknown", 0}, {"cell", 1},   {"struct", 0}, {"logical", 1}, {"char", 2},
    {"double", 8},  {"single", 4}, {"int8", 1},   {"uint8", 1},   {"int16", 2},
    {"uint16", 2},  {"int32", 4},  {"uint32", 4}, {"int64", 8},   {"uint64", 8},
};

// What was made since the last call ended: inputs, and what a call made. take() gives an array to
// an owner that outlives the call.
std::map<const vlArray*, Array> arrays;
std::map<void*, Block> blocks;
void (*exitHandler)() = nullptr;

Array take(vlArray* array) { return std::move(arrays.extract(array).mapped()); }

vlArray* create(size_t numDims, const size_t* dims, vlClassID classId) try {
  Array array(new vlArray{classId, {dims, dims + numDims}, 1, {}, {}});
  if (numDims == 0) array->dims = {0, 0};
  if (numDims == 1) array->dims.push_back(1);
  size_t bytes = classes[classId].second;
  for (size_t dim : array->dims) {
    if (__builtin_mul_overflow(bytes, dim, &bytes)) throw std::bad_alloc();
    array->count *= dim;
  }
  array->bytes.resize(bytes);
  array->cells.resize(classId == vlCELL_CLASS ? bytes : 0);
  return (arrays[array.get()] = std::move(array)).get();
} catch (const std::exception&) {  // std::bad_alloc, or std::length_error of a vector
  throw std::runtime_error("VORLAN:outOfMemory: Out of memory.");
}

std::string text(const char* identifier, const char* format, va_list arguments) {
  char* message = nullptr;
  if (vasprintf(&message, format, arguments) < 0) throw std::bad_alloc();
  const Block owner(message, std::free);
  return std::string(identifier) + ": " + message;
}

}  // namespace

// What the plug-in calls; the headers give these functions C linkage.

vlClassID vlGetClassID(const vlArray* array) { return array->classId; }
const char* vlGetClassName(const vlArray* array) { return classes[array->classId].first; }
size_t vlGetNumberOfElements(const vlArray* array) { return array->count; }
size_t vlGetNumberOfDimensions(const vlArray* array) { return array->dims.size(); }
const size_t* vlGetDimensions(const vlArray* array) { return array->dims.data(); }
void* vlGetData(const vlArray* array) { return const_cast<unsigned char*>(array->bytes.data()); }
vlLogical* vlGetLogicals(const vlArray* array) {
  return array->classId == vlLOGICAL_CLASS ? static_cast<vlLogical*>(vlGetData(array)) : nullptr;
}
char* vlArrayToString(const vlArray* array) {
  if (array->classId != vlCHAR_CLASS) return nullptr;
  char* const text = static_cast<char*>(vlMalloc(array->count + 1));
  *std::copy_n(static_cast<const vlChar*>(vlGetData(array)), array->count, text) = '\0';
  return text;
}

vlArray* vlCreateNumericArray(size_t numDims, const size_t* dims, vlClassID classId, vlComplexity) {
  return create(numDims, dims, classId);
}
vlArray* vlCreateNumericMatrix(size_t rows, size_t columns, vlClassID classId, vlComplexity) {
  const size_t dims[] = {rows, columns};
  return create(2, dims, classId);
}
vlArray* vlCreateCharArray(size_t count, const size_t* dims) {
  return create(count, dims, vlCHAR_CLASS);
}
vlArray* vlCreateLogicalArray(size_t numDims, const size_t* dims) {
  return create(numDims, dims, vlLOGICAL_CLASS);
}
vlArray* vlCreateCellMatrix(size_t rows, size_t columns) {
  return vlCreateNumericMatrix(rows, columns, vlCELL_CLASS, vlREAL);
}
vlArray* vlCreateDoubleScalar(double value) {
  vlArray* const array = vlCreateNumericMatrix(1, 1, vlDOUBLE_CLASS, vlREAL);
  *static_cast<double*>(vlGetData(array)) = value;
  return array;
}
vlArray* vlCreateString(const char* text) {
  vlArray* const array = vlCreateNumericMatrix(1, std::strlen(text), vlCHAR_CLASS, vlREAL);
  std::copy_n(reinterpret_cast<const unsigned char*>(text), array->count,
              static_cast<vlChar*>(vlGetData(array)));
  return array;
}
void vlSetCell(vlArray* cell, size_t index, vlArray* value) { cell->cells.at(index) = take(value); }
void* vlMalloc(size_t size) {
  void* const block = std::malloc(size > 0 ? size : 1);
  if (block == nullptr) throw std::runtime_error("VORLAN:outOfMemory: Out of memory.");
  blocks.emplace(block, Block(block, std::free));
  return block;
}
void vlFree(void* block) { blocks.erase(block); }

void vlErrMsgIdAndTxt(const char* identifier, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  throw std::runtime_error(text(identifier, format, arguments));
}
void vlWarningMsgIdAndTxt(const char* identifier, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::printf("Warning: %s\n", text(identifier, format, arguments).c_str());
  va_end(arguments);
}
#define SAME_AS(function) extern "C" __attribute__((alias(#function))) decltype(function)
SAME_AS(vlErrMsgIdAndTxt) vlpErrMsgIdAndTxt;
SAME_AS(vlWarningMsgIdAndTxt) vlpWarnMsgIdAndTxt;
int vlpAtExit(void (*handler)()) { return exitHandler = handler, 0; }

namespace {

decltype(&vlpFunction) plugin = nullptr;

/// Calls an operation and gives its outputs. All else that was made goes, also after an error.
std::vector<Array> call(const char* operation, std::vector<const vlArray*> inputs) {
  const struct Reclaim {
    ~Reclaim() { arrays.clear(), blocks.clear(); }
  } reclaim;
  inputs.insert(inputs.begin(), vlCreateString(operation));
  vlArray* slots[8] = {};
  plugin(8, slots, static_cast<int>(inputs.size()), inputs.data());
  std::vector<Array> outputs;
  for (auto slot = slots; slot != slots + 8 && *slot; ++slot) outputs.push_back(take(*slot));
  return outputs;
}

void show(const char* path, const char* variable) {
  const auto number = vlCreateDoubleScalar;
  const auto opened = call("open", {vlCreateString(path)});
  const vlArray* const file = opened.at(0).get();
  const auto facts = call("inquire", {file});
  const double count = *static_cast<double*>(vlGetData(facts.at(3).get()));
  for (double i = 0; i < count; ++i) {
    const auto name = call("getVarName", {file, number(i)});
    std::printf("%s\n", vlArrayToString(name.at(0).get()));  // the block goes with the next call
  }

  const auto found = call("getVarNum", {file, vlCreateString(variable)});
  // Records 0 to 2, of each the first four values: an array of 4-by-3.
  const auto read = call("hyperGetVarData", {file, found.at(0).get(), number(0), number(3),
                                             number(1), number(0), number(4), number(1)});
  if (vlGetClassID(read.at(0).get()) != vlSINGLE_CLASS) throw std::runtime_error("no CDF_REAL4");
  const auto* value = static_cast<const float*>(vlGetData(read[0].get()));
  for (int i = 0; i < 3; ++i, value += 4) {
    std::printf("record %d: %g %g %g %g\n", i, value[0], value[1], value[2], value[3]);
  }
}

/// Calls the exit handler, which warns of files that are open and closes them, and unloads.
void unload(void* handle) {
  if (exitHandler != nullptr) exitHandler();
  dlclose(handle);
}

}  // namespace

int main(int count, char** arguments) try {
  if (count != 3) throw std::runtime_error("usage: example_host FILE VARIABLE");
  const std::unique_ptr<void, void (*)(void*)> handle(dlopen(PLUGIN, RTLD_NOW), unload);
  if (handle == nullptr) throw std::runtime_error(dlerror());
  plugin = reinterpret_cast<decltype(plugin)>(dlsym(handle.get(), "vlpFunction"));
  show(arguments[1], arguments[2]);
} catch (const std::exception& error) {  // the plug-in's own std::bad_alloc among them
  std::printf("Error: %s\n", error.what());
  return 1;
}
