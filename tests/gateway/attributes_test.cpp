// Attributes and their entries.
#include "cdf/functions.h"
#include "convert/datatypes.h"
#include "ops/attr/entry_buffer.h"
#include "tests/gateway/datatypes.h"
#include "tests/gateway/gateway_test.h"
#include "tests/gateway/statuses.h"

namespace {

constexpr double CDF_REAL8 = 22, CDF_EPOCH16 = 32, CDF_DOUBLE = 45, CDF_CHAR = 51, CDF_UCHAR = 52;

/// One scope's attribute, its entries' kind in the library, and the operations named after it.
constexpr struct ScopeCase {
  double attribute;
  int kind;
  const char *get, *inquire, *remove;
} global{0, 1, "getAttrgEntry", "inquireAttrgEntry", "deleteAttrgEntry"},
    variable{1, 3, "getAttrEntry", "inquireAttrEntry", "deleteAttrEntry"};
constexpr double empty = 2, missing = 9;

/// A file with one attribute of each scope and a third without entries.
class AttributesTest : public GatewayTest {
 protected:
  void SetUp() override {
    file_ = create("a");
    createVar(file_, "v", 4);
    createVar(file_, "w", 4);
    EXPECT_EQ(numberOf(call("createAttr", file_, "Global", 1.0).at(0)), global.attribute);
    EXPECT_EQ(numberOf(call("createAttr", file_, "Variable", 2.0).at(0)), variable.attribute);
    EXPECT_EQ(numberOf(call("createAttr", file_, "Empty", 1.0).at(0)), empty);
  }
  void TearDown() override {
    close(file_);
    GatewayTest::TearDown();
  }

  /// What all outputs of a call show.
  std::string told(const char* operation, const Input& input) {
    std::string result;
    for (const Array& output : call(operation, file_, input)) result += shown(output) + "; ";
    return result;
  }

  /// Writes entry 0, of either scope, and gives what reading it shows.
  std::string written(const ScopeCase& scope, double datatype, const Array& value) {
    call("putAttrEntry", file_, scope.attribute, 0.0, datatype, value.get());
    return shown(call(scope.get, file_, scope.attribute, 0.0).at(0));
  }

  std::string described(const ScopeCase& scope) {
    const std::vector<Array> outputs = call(scope.inquire, file_, scope.attribute, 0.0);
    return textOf(outputs.at(0)) + " " + std::to_string(static_cast<int>(numberOf(outputs.at(1))));
  }

  /// The bytes of entry 0 as the library gives them.
  std::string stored(const ScopeCase& scope, std::size_t size) {
    std::string bytes(size, '?');
    EXPECT_EQ(CDFgetAttrEntry(handleOf(file_), scope.kind, static_cast<long>(scope.attribute), 0,
                              bytes.data()),
              CDF_OK);
    return bytes;
  }

  File file_;
};

TEST_F(AttributesTest, AreDescribedRenamedAndDeleted) {
  for (const double entry : {0.0, 4.0}) call("putAttrgEntry", file_, 0.0, entry, CDF_DOUBLE, 1.5);
  call("putAttrEntry", file_, 1.0, 1.0, CDF_DOUBLE, 1.5);
  const struct {
    const char* operation;
    Input input;
    const char* told;
  } rows[] = {
      {"inquireAttr", 0.0,
       "char 1x6: Global; char 1x12: GLOBAL_SCOPE; double 1x1: 4; double 1x1: -1; "},
      {"inquireAttr", 1.0,
       "char 1x8: Variable; char 1x14: VARIABLE_SCOPE; double 1x1: -1; double 1x1: 1; "},
      {"getAttrNum", "Variable", "double 1x1: 1; "},
      {"getAttrName", 1.0, "char 1x8: Variable; "},
      {"getAttrScope", 0.0, "char 1x12: GLOBAL_SCOPE; "},
      {"getAttrScope", 1.0, "char 1x14: VARIABLE_SCOPE; "},
      {"getNumAttrgEntries", 0.0, "double 1x1: 2; "},
      {"getNumAttrEntries", 1.0, "double 1x1: 1; "},
      {"getAttrMaxgEntry", 0.0, "double 1x1: 4; "},
      {"getAttrMaxgEntry", empty, "double 1x1: -1; "},
      {"getAttrMaxEntry", 1.0, "double 1x1: 1; "},
  };
  for (const auto& row : rows) EXPECT_EQ(told(row.operation, row.input), row.told) << row.operation;

  EXPECT_TRUE(call("renameAttr", file_, 0.0, "New name").empty());
  EXPECT_EQ(told("getAttrName", 0.0), "char 1x8: New name; ");
  EXPECT_TRUE(call("deleteAttr", file_, 0.0).empty());
  EXPECT_EQ(told("getAttrNum", "Variable"), "double 1x1: 0; ");  // those behind move up
}

TEST_F(AttributesTest, TheLibraryJudgesNamesNumbersAndScopes) {
  for (const auto& [code, scope] : {std::pair(3.0, "GLOBAL_SCOPE"), {4.0, "VARIABLE_SCOPE"}}) {
    const double number = numberOf(call("createAttr", file_, scope, code).at(0));
    EXPECT_EQ(textOf(call("getAttrScope", file_, number).at(0)), scope);
  }
  const std::string longName(257, 'n');
  const auto refusal = [&](const char* operation, const Inputs& more, long status) -> Refusal {
    Inputs inputs = {file_};
    inputs.insert(inputs.end(), more.begin(), more.end());
    return {operation, inputs, failureOf(operation, status)};
  };
  expectRefused({refusal("createAttr", {"refused", 0.0}, BAD_SCOPE),
                 refusal("createAttr", {"refused", 5.0}, BAD_SCOPE),
                 refusal("createAttr", {"Global", 1.0}, ATTR_EXISTS),
                 refusal("createAttr", {longName, 1.0}, ATTR_NAME_TRUNC),
                 refusal("renameAttr", {0.0, longName}, ATTR_NAME_TRUNC),
                 refusal("renameAttr", {0.0, "Variable"}, ATTR_EXISTS),
                 refusal("renameAttr", {9.0, "n"}, NO_SUCH_ATTR),
                 refusal("getAttrNum", {"nowhere"}, NO_SUCH_ATTR),
                 refusal("getNumAttrgEntries", {1.0}, ILLEGAL_FOR_SCOPE),
                 refusal("getNumAttrEntries", {0.0}, ILLEGAL_FOR_SCOPE),
                 refusal("getAttrMaxgEntry", {1.0}, ILLEGAL_FOR_SCOPE),
                 refusal("getAttrMaxEntry", {0.0}, ILLEGAL_FOR_SCOPE),
                 refusal("getAttrMaxEntry", {missing}, NO_SUCH_ATTR),
                 refusal("deleteAttr", {missing}, NO_SUCH_ATTR),
                 refusal("getAttrName", {-1.0}, BAD_ATTR_NUM),
                 refusal("getAttrScope", {missing}, NO_SUCH_ATTR),
                 refusal("inquireAttr", {-1.0}, BAD_ATTR_NUM)});
  EXPECT_EQ(textOf(call("getAttrName", file_, 0.0).at(0)), "Global");
  EXPECT_EQ(numberOf(call("inquire", file_).at(4)), 5);
}

TEST_F(AttributesTest, EveryDatatypeComesBackAsItWasWritten) {
  constexpr std::size_t count = 3;
  for (const DatatypeRow& row : datatypes) {
    for (const ScopeCase& scope : {global, variable}) {
      SCOPED_TRACE(std::string(row.name) + " " + scope.get);
      const Array value = patterned(row.classId, {row.hostCount, count});
      EXPECT_EQ(written(scope, row.code, value), shown(value));
      EXPECT_EQ(described(scope), std::string(row.name) + " 3");
      EXPECT_EQ(stored(scope, count * row.bytes), bytesOf(value, count * row.bytes));
    }
  }
}

TEST_F(AttributesTest, AnyShapeIsReadBackAsARow) {
  const struct {
    double datatype;
    std::vector<double> value;
    const char* read;
    const char* described;
  } rows[] = {
      {CDF_REAL8, {1, 2, 3, 4, 5, 6}, "double 1x6: 1 2 3 4 5 6", "cdf_real8 6"},
      {CDF_DOUBLE, {7}, "double 1x1: 7", "cdf_double 1"},
      {CDF_EPOCH16, {1, 2}, "double 2x1: 1 2", "cdf_epoch16 1"},
      {CDF_EPOCH16, {1, 2, 3, 4}, "double 2x2: 1 2 3 4", "cdf_epoch16 2"},
      {CDF_EPOCH16, {1, 2, 3, 4, 5}, "double 2x2: 1 2 3 4", "cdf_epoch16 2"},
  };
  for (const auto& row : rows) {
    const std::size_t half = row.value.size() % 2 == 0 ? 2 : 1;
    const Array value = numbers<double>({half, row.value.size() / half}, row.value);
    EXPECT_EQ(written(global, row.datatype, value), row.read);
    EXPECT_EQ(described(global), row.described);
  }
}

// Text is written as the low 8 bits of each character and read as unsigned bytes up to a NUL. What
// stands behind a NUL the library does not keep, but it counts.
TEST_F(AttributesTest, TextIsBytes) {
  const struct {
    std::u16string text;
    std::string stored;
    const char* read;
  } rows[] = {
      {u"caf\u00E9\u20AC", "caf\xE9\xAC", "char 1x5: caf<E9><AC>"},
      {std::u16string(u"ab\0cd", 5), std::string("ab\0\0\0", 5), "char 1x2: ab"},
      {u"\u0100x", std::string("\0\0", 2), "char 1x0: "},
  };
  for (const double datatype : {CDF_CHAR, CDF_UCHAR}) {
    for (const auto& row : rows) {
      EXPECT_EQ(written(variable, datatype, chars({row.text.size(), 1}, row.text)), row.read);
      EXPECT_EQ(stored(variable, row.stored.size()), row.stored) << datatype;
      EXPECT_EQ(numberOf(call("inquireAttrEntry", file_, 1.0, 0.0).at(1)),
                static_cast<double>(row.stored.size()));
    }
  }
}

TEST_F(AttributesTest, TheScopeSaysWhichEntryIsWritten) {
  for (const ScopeCase& scope : {global, variable}) {
    const double number = scope.attribute;
    for (const char* operation : {"putAttrEntry", "putAttrgEntry"}) {
      EXPECT_TRUE(call(operation, file_, number, 0.0, CDF_DOUBLE, 1.0).empty());
      EXPECT_EQ(described(scope), "cdf_double 1");
      EXPECT_TRUE(call(scope.remove, file_, number, 0.0).empty());
    }
    for (const char* operation : {scope.get, scope.inquire, scope.remove}) {
      EXPECT_EQ(raised(operation, file_, 1 - number, 0.0), failureOf(operation, ILLEGAL_FOR_SCOPE));
      EXPECT_EQ(raised(operation, file_, number, 0.0), failureOf(operation, NO_SUCH_ENTRY));
      EXPECT_EQ(raised(operation, file_, missing, 0.0), failureOf(operation, NO_SUCH_ATTR));
      EXPECT_EQ(raised(operation, file_, number, -1.0), failureOf(operation, BAD_ENTRY_NUM));
    }
  }
}

// The class is looked at before the library is asked anything: the attribute need not exist.
TEST_F(AttributesTest, OnlyTheExactClassIsWritten) {
  const struct {
    double datatype;
    vlClassID value;
    const char* message;
  } rows[] = {
      {45, vlINT32_CLASS, "\"CDF_DOUBLE\" does not match with attribute datatype of int32."},
      {22, vlSINGLE_CLASS, "\"CDF_REAL8\" does not match with attribute datatype of single."},
      {4, vlDOUBLE_CLASS, "\"CDF_INT4\" does not match with attribute datatype of double."},
      {11, vlLOGICAL_CLASS, "\"CDF_UINT1\" does not match with attribute datatype of logical."},
      {12, vlUINT64_CLASS, "\"CDF_UINT2\" does not match with attribute datatype of uint64."},
      {32, vlINT64_CLASS, "\"CDF_EPOCH16\" does not match with attribute datatype of int64."},
      {51, vlCELL_CLASS, "\"CDF_CHAR\" does not match with attribute datatype of cell."},
      {52, vlUINT8_CLASS, "\"CDF_UCHAR\" does not match with attribute datatype of uint8."},
  };
  for (const char* put : {"putAttrEntry", "putAttrgEntry"}) {
    for (const auto& row : rows) {
      EXPECT_EQ(raised(put, file_, missing, 0.0, row.datatype, oneOf(row.value)),
                (Raised{"VORLAN:tarvik:putAttrEntry:badDatatype",
                        std::string("The specified datatype ") + row.message}));
    }
    for (const int code : {-1, 0, 3, 8, 33, 50, 53}) {
      EXPECT_EQ(
          raised(put, file_, missing, 0.0, code + 0.0, oneOf(vlCELL_CLASS)),
          (Raised{"VORLAN:tarvik:mapCdfDatatypeToVorlan:unknownDatatype",
                  std::to_string(code) + " is not a recognized enumerated CDF datatype value."}));
    }
    EXPECT_EQ(raised(put, file_, missing, 0.0, CDF_DOUBLE, 1.0),
              failureOf(put, NO_SUCH_ATTR, "scopeInquiryfailure"));
    EXPECT_EQ(raised(put, file_, 0.0, -1.0, CDF_DOUBLE, 1.0), failureOf(put, BAD_ENTRY_NUM));
  }
}

TEST_F(AttributesTest, TheLibraryJudgesEmptyValues) {
  const Raised refused = failureOf("putAttrEntry", BAD_NUM_ELEMS);
  for (const DatatypeRow& row : datatypes) {
    const Array none = patterned(row.classId, {0, 0});
    if (row.classId == vlCHAR_CLASS) {
      EXPECT_EQ(written(global, row.code, none), "char 1x0: ");  // stored as one NUL
      EXPECT_EQ(described(global), std::string(row.name) + " 1");
    } else {
      EXPECT_EQ(raised("putAttrEntry", file_, 0.0, 0.0, row.code, none.get()), refused) << row.name;
    }
  }
  EXPECT_EQ(raised("putAttrEntry", file_, 0.0, 0.0, CDF_EPOCH16, 1.0), refused);  // half of one
}

TEST_F(AttributesTest, DatatypesOfOtherProgramsAreNotServed) {
  for (const long datatype : {8L, 33L}) {
    const std::string code = std::to_string(datatype);
    const std::int64_t value = 1;
    for (const ScopeCase& scope : {global, variable}) {
      ASSERT_EQ(CDFputAttrEntry(handleOf(file_), scope.kind, static_cast<long>(scope.attribute), 0,
                                datatype, 1, &value),
                CDF_OK);
      EXPECT_EQ(raised(scope.inquire, file_, scope.attribute, 0.0),
                (Raised{"VORLAN:tarvik:packUpDatatype:unhandledDatatype",
                        "Unhandled datatype " + code + "."}));
      EXPECT_EQ(raised(scope.get, file_, scope.attribute, 0.0),
                (Raised{"VORLAN:tarvik:setInputBufferSize:unknownDatatype",
                        code + " is not a recognized datatype."}));
    }
  }
}

// The guards behind other guards, which no call reaches.
TEST(DatatypeGuards, WhereOthersComeFirst) {
  const auto expectRaised = [](const auto& function, const Raised& expected) {
    try {
      function();
      ADD_FAILURE() << expected;
    } catch (const vlhost::Error& error) {
      EXPECT_EQ((Raised{error.identifier(), error.what()}), expected);
    }
  };
  expectRaised([] { tarvik::cdfDatatypeName(0); }, {"VORLAN:tarvik:cdfDatatypeName:unknownDatatype",
                                                    "0 is not a recognized datatype."});
  expectRaised([] { tarvik::ops::packUpAttributeEntry({}, 33); },
               {"VORLAN:tarvik:packUpAttributeEntry:unknownDatatype",
                "33 is not a recognized enumerated CDF datatype value."});
}

}  // namespace
