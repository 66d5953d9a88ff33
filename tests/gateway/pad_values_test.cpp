// Pad values, for every datatype.
#include "cdf/call.h"
#include "tests/gateway/datatypes.h"
#include "tests/gateway/gateway_test.h"
#include "tests/gateway/statuses.h"

namespace {

constexpr std::size_t stringLength = 5;

/// A file with one variable of each datatype, of three values a record, strings of five characters.
class PadValuesTest : public GatewayTest {
 protected:
  void SetUp() override { file_ = createFile("a", 1, 1); }
  void TearDown() override {
    close(file_);
    GatewayTest::TearDown();
  }

  File createFile(const std::string& name, double format, double majority) {
    const File file = create(name);
    call("setFormat", file, format);
    call("setMajority", file, majority);
    for (const DatatypeRow& row : datatypes) {
      createVar(file, row.name, row.code, isText(row) ? stringLength : 1, {3});
    }
    return file;
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
    close(file_);
    file_ = createFile(name, format, majority);
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
  }
}

// Written as the low 8 bits, read as signed bytes. What stands behind a NUL the library drops.
TEST_F(PadValuesTest, TextIsBytes) {
  const double last = std::size(datatypes) - 1;
  call("setVarPadValue", file_, last, chars({1, 5}, u"caf\u00E9\u2180"));
  EXPECT_EQ(shown(padOf(last)), "char 5x1: caf<FFE9><FF80>");
  call("setVarPadValue", file_, last, chars({5, 1}, std::u16string(u"ab\0cd", 5)));
  EXPECT_EQ(shown(padOf(last)), "char 5x1: ab<0><0><0>");
}

TEST_F(PadValuesTest, OnlyTheExactClassAndCountAreTaken) {
  forEachVariable([this](const DatatypeRow& row, double number, const Array&) {
    const std::string before = shown(padOf(number));
    std::string name = row.name;
    for (char& letter : name) letter = static_cast<char>(std::toupper(letter));
    // Of the wrong length too: the class comes first.
    const vlClassID near = isText(row) ? vlUINT8_CLASS : vlCHAR_CLASS;
    for (const vlClassID other : {vlLOGICAL_CLASS, vlINT64_CLASS, vlCELL_CLASS, near}) {
      const Array value = newArray(other, {4, 2});
      EXPECT_EQ(
          raised("setVarPadValue", file_, number, value.get()),
          (Raised{"VORLAN:tarvik:setVarPadValue:datatypeMismatch",
                  std::string("The input datatype is ") + vlGetClassName(value.get()) +
                      ", which is not compatible with the CDF variable datatype " + name + "."}));
    }
    const std::string length = isText(row) ? "have 5 elements."
                               : row.hostCount == 2
                                   ? "consist of a two-element double precision value."
                                   : "consist of a scalar value.";
    for (const std::size_t count : {elements(row) - 1, elements(row) + 1}) {
      EXPECT_EQ(
          raised("setVarPadValue", file_, number, patterned(row.classId, {1, count})),
          (Raised{"VORLAN:tarvik:setVarPadValue:wrongNumberOfElements",
                  std::string("The pad value for variable \"") + row.name + "\" must " + length}));
    }
    EXPECT_EQ(shown(padOf(number)), before);
  });
  const std::string tag = "variableInquiryFailure";
  expectRefused(
      {{"getVarPadValue", {file_, 99.0}, failureOf("getVarPadValue", NO_SUCH_VAR, tag)},
       {"setVarPadValue", {file_, 99.0, 1.0}, failureOf("setVarPadValue", NO_SUCH_VAR, tag)}});
}

}  // namespace
