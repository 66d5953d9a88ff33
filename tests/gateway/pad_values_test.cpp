// Pad values of every datatype, against the library's own calls.
#include "cdf/call.h"
#include "tests/gateway/datatypes.h"
#include "tests/gateway/gateway_test.h"
#include "tests/gateway/statuses.h"

namespace {

constexpr std::size_t stringLength = 5;

/// A file with one variable of each datatype, of three values a record, strings of five characters.
class PadValuesTest : public GatewayTest {
 protected:
  void createFile(const std::string& name, double format, double majority) {
    file_ = create(name);
    call("setFormat", file_, format);
    call("setMajority", file_, majority);
    for (const DatatypeRow& row : datatypes) {
      createVar(file_, row.name, row.code, isText(row) ? stringLength : 1, {3});
    }
  }

  static bool isText(const DatatypeRow& row) { return row.classId == vlCHAR_CLASS; }
  static std::size_t elements(const DatatypeRow& row) {
    return isText(row) ? stringLength : row.hostCount;
  }

  /// Calls `check` with each row, its variable's number and a pad value.
  template <typename Check>
  void forEachVariable(Check check) {
    double number = 0;
    for (const DatatypeRow& row : datatypes) {
      SCOPED_TRACE(row.name);
      check(row, number++, patterned(row.classId, {elements(row), 1}));
    }
  }

  Array padOf(double number) { return std::move(call("getVarPadValue", file_, number).at(0)); }

  /// The pad value is the library's.
  void expectPad(const DatatypeRow& row, double number) {
    const Array read = padOf(number);
    EXPECT_EQ(vlGetClassID(read.get()), row.classId);
    EXPECT_EQ(dimsOf(read), (Dims{elements(row), 1}));
    const std::size_t size = isText(row) ? stringLength : row.bytes;
    std::string library(size, '?');
    EXPECT_GE(tarvik::cdf::onVariable(handleOf(file_), static_cast<long>(number), tarvik::GET_,
                                      tarvik::zVAR_PADVALUE_, library.data()),
              CDF_OK);
    EXPECT_EQ(bytesOf(read, size), library);
  }

  File file_;
};

TEST_F(PadValuesTest, AreTheLibrarysAndFillWhatWasNotWritten) {
  for (const auto& [format, majority] : {std::pair(1.0, 1.0), {1.0, 2.0}, {2.0, 1.0}, {2.0, 2.0}}) {
    const std::string name = std::to_string(format) + std::to_string(majority);
    createFile(name, format, majority);
    forEachVariable([this](const DatatypeRow& row, double number, const Array& pad) {
      expectPad(row, number);
      EXPECT_TRUE(call("setVarPadValue", file_, number, pad.get()).empty());
      EXPECT_EQ(shown(padOf(number)), shown(pad));
      call("putVarData", file_, number, 2.0, List{0}, patterned(row.classId, {1, elements(row)}));
    });
    close(file_);
    file_ = open(name);
    forEachVariable([this](const DatatypeRow& row, double number, const Array& pad) {
      expectPad(row, number);
      EXPECT_EQ(shown(padOf(number)), shown(pad));
      const Array unwritten = std::move(call("getVarData", file_, number, 1.0, List{2}).at(0));
      EXPECT_EQ(shown(unwritten), shown(pad));
    });
    close(file_);
  }
}

}  // namespace
