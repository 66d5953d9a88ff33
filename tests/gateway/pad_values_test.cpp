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
  void SetUp() override {
    file_ = create("a");
    for (const DatatypeRow& row : datatypes) {
      createVar(file_, row.name, row.code, isText(row) ? stringLength : 1, {3});
    }
  }

  void TearDown() override {
    close(file_);
    GatewayTest::TearDown();
  }

  void reopen() {
    close(file_);
    file_ = open("a");
  }

  static bool isText(const DatatypeRow& row) { return row.classId == vlCHAR_CLASS; }
  static std::size_t elements(const DatatypeRow& row) {
    return isText(row) ? stringLength : row.hostCount;
  }
  static Array pad(const DatatypeRow& row) { return patterned(row.classId, {elements(row), 1}); }

  /// Calls `check` with each row, its variable's number among the inputs.
  template <typename Check>
  void forEachVariable(Check check) {
    double number = 0;
    for (const DatatypeRow& row : datatypes) {
      SCOPED_TRACE(row.name);
      check(row, number++);
    }
  }

  std::string padOf(double number) { return shown(call("getVarPadValue", file_, number).at(0)); }

  File file_;
};

TEST_F(PadValuesTest, TheLibrarysOwnAreGivenWhereNoneWasSet) {
  forEachVariable([this](const DatatypeRow& row, double number) {
    const Array read = std::move(call("getVarPadValue", file_, number).at(0));
    EXPECT_EQ(vlGetClassID(read.get()), row.classId);
    EXPECT_EQ(dimsOf(read), (Dims{elements(row), 1}));
    std::string library(row.bytes * stringLength, '?');
    EXPECT_GE(tarvik::cdf::onVariable(handleOf(file_), static_cast<long>(number), tarvik::GET_,
                                      tarvik::zVAR_PADVALUE_, library.data()),
              CDF_OK);
    const std::size_t size = isText(row) ? stringLength : row.bytes;
    EXPECT_EQ(isText(row) ? textOf(read)
                          : std::string(static_cast<const char*>(vlGetData(read.get())), size),
              library.substr(0, size));
  });
}

TEST_F(PadValuesTest, AreReadBackAndFillWhatWasNotWritten) {
  forEachVariable([this](const DatatypeRow& row, double number) {
    EXPECT_TRUE(call("setVarPadValue", file_, number, pad(row)).empty());
    EXPECT_EQ(padOf(number), shown(pad(row)));
    call("putVarData", file_, number, 2.0, List{0}, patterned(row.classId, {1, elements(row)}));
  });
  reopen();
  forEachVariable([this](const DatatypeRow& row, double number) {
    EXPECT_EQ(padOf(number), shown(pad(row)));
    const Array unwritten = std::move(call("getVarData", file_, number, 1.0, List{2}).at(0));
    const auto elementsOnly = [](const std::string& text) { return text.substr(text.find(':')); };
    EXPECT_EQ(elementsOnly(shown(unwritten)), elementsOnly(shown(pad(row))));
  });
}

// Written as the low 8 bits, read as signed bytes. What stands behind a NUL the library drops.
TEST_F(PadValuesTest, TextIsBytes) {
  const double last = std::size(datatypes) - 1;
  call("setVarPadValue", file_, last, chars({1, 5}, u"caf\u00E9\u2180"));
  EXPECT_EQ(padOf(last), "char 5x1: caf<FFE9><FF80>");
  call("setVarPadValue", file_, last, chars({5, 1}, std::u16string(u"ab\0cd", 5)));
  EXPECT_EQ(padOf(last), "char 5x1: ab<0><0><0>");
}

TEST_F(PadValuesTest, OnlyTheExactClassAndCountAreTaken) {
  const auto mismatch = [](const char* input, const std::string& datatype) {
    return Raised{"VORLAN:tarvik:setVarPadValue:datatypeMismatch",
                  std::string("The input datatype is ") + input +
                      ", which is not compatible with the CDF variable datatype " + datatype + "."};
  };
  forEachVariable([&](const DatatypeRow& row, double number) {
    const std::string before = padOf(number);
    std::string upperName = row.name;
    for (char& letter : upperName) letter = static_cast<char>(std::toupper(letter));
    // Of the wrong length too: the class comes first.
    for (const vlClassID other : {vlLOGICAL_CLASS, vlINT64_CLASS, vlUINT64_CLASS, vlCELL_CLASS}) {
      const Array value = oneOf(other);
      EXPECT_EQ(raised("setVarPadValue", file_, number, value.get()),
                mismatch(vlGetClassName(value.get()), upperName));
    }
    const vlClassID near = isText(row) ? vlUINT8_CLASS : vlCHAR_CLASS;
    EXPECT_EQ(raised("setVarPadValue", file_, number, patterned(near, {4, 2})),
              mismatch(isText(row) ? "uint8" : "char", upperName));

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
    EXPECT_EQ(padOf(number), before);
  });
  const std::string tag = "variableInquiryFailure";
  EXPECT_EQ(raised("getVarPadValue", file_, 99.0), failureOf("getVarPadValue", NO_SUCH_VAR, tag));
  EXPECT_EQ(raised("setVarPadValue", file_, 99.0, oneOf(vlCELL_CLASS)),
            failureOf("setVarPadValue", NO_SUCH_VAR, tag));
}

}  // namespace
