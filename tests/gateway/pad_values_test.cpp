// Pad values of every datatype, against the library's own calls.
#include "cdf/library.h"
#include "tests/gateway/datatypes.h"
#include "tests/gateway/gateway_test.h"

namespace {

constexpr std::size_t stringLength = 5;

using PadValuesTest = GatewayTest;

std::string inLibrary(File file, double variable, std::size_t size) {
  std::string bytes(size, '?');
  EXPECT_GE(tarvik::cdf::onVariable(handleOf(file), static_cast<long>(variable), tarvik::GET_,
                                    tarvik::zVAR_PADVALUE_, bytes.data()),
            0);
  return bytes;
}

TEST_F(PadValuesTest, AreTheLibrarysAndFillWhatWasNotWritten) {
  for (const auto& [format, majority] : {std::pair(1.0, 1.0), {1.0, 2.0}, {2.0, 1.0}, {2.0, 2.0}}) {
    const std::string name = std::to_string(format) + std::to_string(majority);
    File file = create(name);
    call("setFormat", file, format);
    call("setMajority", file, majority);
    for (const bool reopened : {false, true}) {
      double number = 0;
      for (const DatatypeRow& row : datatypes) {
        SCOPED_TRACE(name + row.name + (reopened ? " reopened" : ""));
        const bool isText = row.classId == vlCHAR_CLASS;
        const std::size_t elements = isText ? stringLength : row.hostCount;
        const std::size_t size = isText ? stringLength : row.bytes;
        const Array pad = patterned(row.classId, {elements, 1});
        const auto padNow = [&] { return std::move(call("getVarPadValue", file, number).at(0)); };
        if (!reopened) {
          createVar(file, row.name, row.code, isText ? stringLength : 1, {3});
          EXPECT_EQ(bytesOf(padNow(), size), inLibrary(file, number, size));
          EXPECT_TRUE(call("setVarPadValue", file, number, pad.get()).empty());
          call("putVarData", file, number, 2.0, List{0}, patterned(row.classId, {1, elements}));
        }
        EXPECT_EQ(bytesOf(pad, size), inLibrary(file, number, size));
        EXPECT_EQ(shown(padNow()), shown(pad));
        EXPECT_EQ(shown(call("getVarData", file, number, 1.0, List{2}).at(0)), shown(pad));
        ++number;
      }
      close(file);
      if (!reopened) file = open(name);
    }
  }
}

}  // namespace
