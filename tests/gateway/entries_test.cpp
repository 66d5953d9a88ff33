// The entries of attributes: writing, reading, describing and deleting them.
#include "cdf/functions.h"
#include "convert/datatypes.h"
#include "ops/attr/entry_buffer.h"
#include "tests/gateway/datatypes.h"
#include "tests/gateway/gateway_test.h"
#include "tests/gateway/statuses.h"

namespace {

constexpr double CDF_REAL8 = 22;
constexpr double CDF_EPOCH16 = 32;
constexpr double CDF_DOUBLE = 45;
constexpr double CDF_CHAR = 51;
constexpr double CDF_UCHAR = 52;

/// One scope's attribute, its entries' kind in the library, and the operations named after it.
struct ScopeCase {
  double attribute;
  int kind;
  const char* get;
  const char* inquire;
  const char* remove;
};
constexpr ScopeCase global{0, 1, "getAttrgEntry", "inquireAttrgEntry", "deleteAttrgEntry"};
constexpr ScopeCase variable{1, 3, "getAttrEntry", "inquireAttrEntry", "deleteAttrEntry"};
constexpr double missing = 9;

/// A file with one attribute of each scope.
class EntriesTest : public GatewayTest {
 protected:
  void SetUp() override {
    file_ = create("a");
    createVar(file_, "v", 4);
    call("createAttr", file_, "Global", 1.0);
    call("createAttr", file_, "Variable", 2.0);
  }

  void TearDown() override {
    close(file_);
    GatewayTest::TearDown();
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

std::string bytesOf(const Array& array, std::size_t size) {
  if (vlGetClassID(array.get()) == vlCHAR_CLASS) return textOf(array);
  return {static_cast<const char*>(vlGetData(array.get())), size};
}

TEST_F(EntriesTest, EveryDatatypeComesBackAsItWasWritten) {
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

TEST_F(EntriesTest, AnyShapeIsReadBackAsARow) {
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
TEST_F(EntriesTest, TextIsBytes) {
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

TEST_F(EntriesTest, TheScopeSaysWhichEntryIsWritten) {
  for (const char* operation : {"putAttrEntry", "putAttrgEntry"}) {
    for (const ScopeCase& scope : {global, variable}) {
      EXPECT_TRUE(call(operation, file_, scope.attribute, 0.0, CDF_DOUBLE, 1.0).empty());
      EXPECT_EQ(described(scope), "cdf_double 1");
      EXPECT_TRUE(call(scope.remove, file_, scope.attribute, 0.0).empty());
      EXPECT_EQ(raised(scope.inquire, file_, scope.attribute, 0.0),
                failureOf(scope.inquire, NO_SUCH_ENTRY));
    }
  }
}

TEST_F(EntriesTest, TheOtherKindIsRefusedByTheLibrary) {
  for (const ScopeCase& scope : {global, variable}) {
    const double other = 1 - scope.attribute;
    for (const char* operation : {scope.get, scope.inquire, scope.remove}) {
      EXPECT_EQ(raised(operation, file_, other, 0.0), failureOf(operation, ILLEGAL_FOR_SCOPE));
      EXPECT_EQ(raised(operation, file_, scope.attribute, 0.0),
                failureOf(operation, NO_SUCH_ENTRY));
      EXPECT_EQ(raised(operation, file_, missing, 0.0), failureOf(operation, NO_SUCH_ATTR));
      EXPECT_EQ(raised(operation, file_, scope.attribute, -1.0),
                failureOf(operation, BAD_ENTRY_NUM));
    }
  }
}

// The class is looked at before the library is asked anything: the attribute need not exist.
TEST_F(EntriesTest, OnlyTheExactClassIsWritten) {
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
  for (const char* operation : {"putAttrEntry", "putAttrgEntry"}) {
    for (const auto& row : rows) {
      EXPECT_EQ(raised(operation, file_, missing, 0.0, row.datatype, oneOf(row.value)),
                (Raised{"VORLAN:tarvik:putAttrEntry:badDatatype",
                        std::string("The specified datatype ") + row.message}));
    }
    for (const int code : {-1, 0, 3, 8, 33, 50, 53}) {
      EXPECT_EQ(
          raised(operation, file_, missing, 0.0, code + 0.0, oneOf(vlCELL_CLASS)),
          (Raised{"VORLAN:tarvik:mapCdfDatatypeToVorlan:unknownDatatype",
                  std::to_string(code) + " is not a recognized enumerated CDF datatype value."}));
    }
    EXPECT_EQ(raised(operation, file_, "n", "e", "d", 1.0).message,
              "Scalar argument must be double precision instead of char.");
    EXPECT_EQ(raised(operation, file_, missing, 0.0, CDF_DOUBLE, 1.0),
              failureOf(operation, NO_SUCH_ATTR, "scopeInquiryfailure"));
    EXPECT_EQ(raised(operation, file_, 0.0, -1.0, CDF_DOUBLE, 1.0),
              failureOf(operation, BAD_ENTRY_NUM));
  }
}

TEST_F(EntriesTest, TheLibraryJudgesEmptyValues) {
  for (const DatatypeRow& row : datatypes) {
    SCOPED_TRACE(row.name);
    const Array empty = patterned(row.classId, {0, 0});
    if (row.classId == vlCHAR_CLASS) {
      EXPECT_EQ(written(global, row.code, empty), "char 1x0: ");  // stored as one NUL
      EXPECT_EQ(described(global), std::string(row.name) + " 1");
    } else {
      EXPECT_EQ(raised("putAttrEntry", file_, 0.0, 0.0, row.code, empty.get()),
                failureOf("putAttrEntry", BAD_NUM_ELEMS));
    }
  }
  EXPECT_EQ(raised("putAttrEntry", file_, 0.0, 0.0, CDF_EPOCH16, 1.0),  // half an element
            failureOf("putAttrEntry", BAD_NUM_ELEMS));
}

TEST_F(EntriesTest, DatatypesOfOtherProgramsAreNotServed) {
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
  const auto raisedBy = [](const auto& function) -> Raised {
    try {
      function();
    } catch (const vlhost::Error& error) {
      return {error.identifier(), error.what()};
    }
    return {};
  };
  EXPECT_EQ(tarvik::cdfDatatypeName(32), "CDF_EPOCH16");
  EXPECT_EQ(
      raisedBy([] { tarvik::cdfDatatypeName(0); }),
      (Raised{"VORLAN:tarvik:cdfDatatypeName:unknownDatatype", "0 is not a recognized datatype."}));
  EXPECT_EQ(raisedBy([] { tarvik::ops::packUpAttributeEntry({}, 33); }),
            (Raised{"VORLAN:tarvik:packUpAttributeEntry:unknownDatatype",
                    "33 is not a recognized enumerated CDF datatype value."}));
}

}  // namespace
