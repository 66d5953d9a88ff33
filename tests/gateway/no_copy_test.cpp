// Numbers pass between host arrays and the library without a copy: the addresses that the library
// receives are those of the arrays' own memory. A program of its own, since it exports functions of
// the library, which the plug-in finds first; they note addresses and forward to the genuine ones.
#include <array>
#include <cstdarg>
#include <dlfcn.h>
#include <set>
#include <tuple>

#include "cdf/functions.h"
#include "cdf/items.h"
#include "tests/gateway/datatypes.h"
#include "tests/gateway/gateway_test.h"

namespace {

std::set<const void*> received;

void note(const void* memory) {
  received.insert(memory);
}
void note(long) {}

template <typename Function>
Function* genuine(const char* name, Function*) {
  static void* const library = dlopen(CDF_LIBRARY, RTLD_NOW);
  return reinterpret_cast<Function*>(dlsym(library, name));
}

template <typename Function, typename... Arguments>
CDFstatus noted(const char* name, Function* function, Arguments... arguments) {
  (note(arguments), ...);
  return genuine(name, function)(arguments...);
}

}  // namespace

extern "C" {

CDFstatus CDFlib(long function, ...) {
  std::array<long, 64> words{function};
  va_list arguments;
  va_start(arguments, function);
  // No argument of these tests is 1000, the NULL_ that ends the list.
  for (std::size_t i = 1; words.at(i - 1) != tarvik::NULL_; ++i) {
    words.at(i) = va_arg(arguments, long);
    note(reinterpret_cast<const void*>(words.at(i)));
  }
  va_end(arguments);
  return std::apply(genuine("CDFlib", CDFlib), words);
}

CDFstatus CDFgetVarRecordData(CDFid id, int zVariable, long variable, long record, void* values) {
  return noted(__func__, CDFgetVarRecordData, id, zVariable, variable, record, values);
}

CDFstatus CDFputVarRecordData(CDFid id, int zVariable, long variable, long record,
                              const void* values) {
  return noted(__func__, CDFputVarRecordData, id, zVariable, variable, record, values);
}

CDFstatus CDFputAttrEntry(CDFid id, int kind, long attribute, long entry, long datatype,
                          long numElements, const void* value) {
  return noted(__func__, CDFputAttrEntry, id, kind, attribute, entry, datatype, numElements, value);
}

}  // extern "C"

namespace {

using NoCopyTest = GatewayTest;

TEST_F(NoCopyTest, TheLibraryUsesTheMemoryOfNumericArrays) {
  const File file = create("a");
  call("createAttr", file, "global", 1.0);
  call("createAttr", file, "perVariable", 2.0);
  const List zero = {0}, one = {1}, two = {2};
  double number = 0;
  for (const DatatypeRow& type : datatypes) {
    createVar(file, type.name, type.code, 1, {2});
    const auto values = [&type](std::size_t count) {
      return Input(patterned(type.classId, {1, type.hostCount * count}));
    };
    // What counts is the memory of the output, or of the last input where there is none.
    const std::pair<const char*, Inputs> calls[] = {
        {"putVarData", {file, number, 0.0, zero, values(1)}},
        {"putVarRecordData", {file, number, 0.0, values(2)}},
        {"hyperPutVarData", {file, number, 0.0, 2.0, 1.0, zero, two, one, values(4)}},
        {"putAttrgEntry", {file, 0.0, number, type.code, values(2)}},
        {"putAttrEntry", {file, 1.0, number, type.code, values(2)}},
        {"getVarData", {file, number, 0.0, zero}},
        {"getVarRecordData", {file, number, 0.0}},
        {"hyperGetVarData", {file, number, 0.0, 2.0, 1.0, zero, two, one}},
        {"setVarPadValue", {file, number, values(1)}},
        {"getVarPadValue", {file, number}},
    };
    for (const auto& [operation, inputs] : calls) {
      received.clear();
      const std::vector<Array> outputs = callWith(operation, inputs);
      const void* memory = vlGetData(outputs.empty() ? inputs.back().array : outputs.front().get());
      EXPECT_EQ(received.count(memory) != 0, type.classId != vlCHAR_CLASS)
          << operation << ' ' << type.name;
    }
    ++number;
  }
  close(file);
}

}  // namespace
