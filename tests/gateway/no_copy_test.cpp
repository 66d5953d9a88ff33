// Numbers pass between host arrays and the library without a copy: the addresses that the library
// receives are those of the arrays' own memory.
#include "tests/gateway/broken_library.h"
#include "tests/gateway/datatypes.h"
#include "tests/gateway/gateway_test.h"

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
      broken::received.clear();
      const std::vector<Array> outputs = callWith(operation, inputs);
      const void* memory = vlGetData(outputs.empty() ? inputs.back().array : outputs.front().get());
      EXPECT_EQ(broken::received.count(memory) != 0, type.classId != vlCHAR_CLASS)
          << operation << ' ' << type.name;
    }
    ++number;
  }
  close(file);
}

}  // namespace
