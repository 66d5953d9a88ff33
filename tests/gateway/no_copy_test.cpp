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

template <typename Function>
Function* genuine(const char* name, Function*) {
  static void* const library = dlopen(CDF_LIBRARY, RTLD_NOW);
  return reinterpret_cast<Function*>(dlsym(library, name));
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
    received.insert(reinterpret_cast<const void*>(words.at(i)));
  }
  va_end(arguments);
  return std::apply(genuine("CDFlib", CDFlib), words);
}

CDFstatus CDFgetVarRecordData(CDFid id, int zVariable, long variable, long record, void* values) {
  received.insert(values);
  return genuine("CDFgetVarRecordData", CDFgetVarRecordData)(id, zVariable, variable, record,
                                                             values);
}

CDFstatus CDFputVarRecordData(CDFid id, int zVariable, long variable, long record,
                              const void* values) {
  received.insert(values);
  return genuine("CDFputVarRecordData", CDFputVarRecordData)(id, zVariable, variable, record,
                                                             values);
}

CDFstatus CDFputAttrEntry(CDFid id, int kind, long attribute, long entry, long datatype,
                          long numElements, const void* value) {
  received.insert(value);
  return genuine("CDFputAttrEntry", CDFputAttrEntry)(id, kind, attribute, entry, datatype,
                                                     numElements, value);
}

}  // extern "C"

namespace {

class NoCopyTest : public GatewayTest {
 protected:
  /// Whether the library was given the memory of the array, which is an input or an output.
  bool reachesLibrary(const std::string& operation, Inputs inputs, const Array* value = nullptr) {
    if (value != nullptr) {
      inputs.emplace_back(value->get());
    }
    received.clear();
    const std::vector<Array> outputs = callWith(operation, inputs);
    return received.count(vlGetData((value != nullptr ? *value : outputs.at(0)).get())) != 0;
  }
};

TEST_F(NoCopyTest, TheLibraryUsesTheMemoryOfNumericArrays) {
  const File file = create("a");
  call("createAttr", file, "global", 1.0);
  call("createAttr", file, "perVariable", 2.0);
  const List zero = {0};
  const List one = {1};
  const List two = {2};
  double number = 0;
  for (const DatatypeRow& type : datatypes) {
    SCOPED_TRACE(type.name);
    createVar(file, type.name, type.code, 1, {2});
    const auto values = [&](std::size_t count) {
      const std::size_t dims[] = {1, type.hostCount * count};
      return type.classId == vlCHAR_CLASS
                 ? chars({1, count}, std::u16string(count, u'x'))
                 : Array(vlCreateNumericArray(2, dims, type.classId, vlREAL));
    };
    const Array single = values(1);
    const Array pair = values(2);
    const Array four = values(4);
    const Inputs entry = {file, 0.0, number, type.code};
    const Inputs variableEntry = {file, 1.0, number, type.code};
    const bool uncopied = type.classId != vlCHAR_CLASS;
    EXPECT_EQ(reachesLibrary("putVarData", {file, number, 0.0, zero}, &single), uncopied);
    EXPECT_EQ(reachesLibrary("putVarRecordData", {file, number, 0.0}, &pair), uncopied);
    EXPECT_EQ(
        reachesLibrary("hyperPutVarData", {file, number, 0.0, 2.0, 1.0, zero, two, one}, &four),
        uncopied);
    EXPECT_EQ(reachesLibrary("putAttrgEntry", entry, &pair), uncopied);
    EXPECT_EQ(reachesLibrary("putAttrEntry", variableEntry, &pair), uncopied);
    EXPECT_EQ(reachesLibrary("getVarData", {file, number, 0.0, zero}), uncopied);
    EXPECT_EQ(reachesLibrary("getVarRecordData", {file, number, 0.0}), uncopied);
    EXPECT_EQ(reachesLibrary("hyperGetVarData", {file, number, 0.0, 2.0, 1.0, zero, two, one}),
              uncopied);
    EXPECT_EQ(reachesLibrary("setVarPadValue", {file, number}, &single), uncopied);
    EXPECT_EQ(reachesLibrary("getVarPadValue", {file, number++}), uncopied);
  }
  close(file);
}

}  // namespace
