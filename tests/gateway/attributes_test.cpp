// Entries of attributes, against the library's own calls.
#include "cdf/functions.h"
#include "tests/gateway/datatypes.h"
#include "tests/gateway/gateway_test.h"

namespace {

/// One scope's attribute, its entries' kind in the library, and the operations named after it.
constexpr struct ScopeCase {
  double attribute;
  int kind;
  const char *get, *inquire;
} scopes[] = {{0, 1, "getAttrgEntry", "inquireAttrgEntry"},
              {1, 3, "getAttrEntry", "inquireAttrEntry"}};

class AttributesTest : public GatewayTest {
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

  /// The bytes of entry 0 as the library gives them.
  std::string stored(const ScopeCase& scope, std::size_t size) {
    std::string bytes(size, '?');
    EXPECT_EQ(CDFgetAttrEntry(handleOf(file_), scope.kind, static_cast<long>(scope.attribute), 0,
                              bytes.data()),
              0);
    return bytes;
  }

  File file_;
};

TEST_F(AttributesTest, EveryDatatypeComesBackAsItWasWritten) {
  constexpr std::size_t count = 3;
  for (const DatatypeRow& row : datatypes) {
    for (const ScopeCase& scope : scopes) {
      SCOPED_TRACE(std::string(row.name) + " " + scope.get);
      const Array value = patterned(row.classId, {row.hostCount, count});
      call("putAttrEntry", file_, scope.attribute, 0.0, row.code, value.get());
      EXPECT_EQ(shown(call(scope.get, file_, scope.attribute, 0.0).at(0)), shown(value));
      const std::vector<Array> facts = call(scope.inquire, file_, scope.attribute, 0.0);
      EXPECT_EQ(textOf(facts.at(0)), row.name);
      EXPECT_EQ(numberOf(facts.at(1)), count);
      EXPECT_EQ(stored(scope, count * row.bytes), bytesOf(value, count * row.bytes));
    }
  }
}

TEST_F(AttributesTest, DatatypesOfOtherProgramsAreNotServed) {
  for (const long datatype : {8L, 33L}) {
    const std::string code = std::to_string(datatype);
    const std::int64_t value = 1;
    for (const ScopeCase& scope : scopes) {
      ASSERT_EQ(CDFputAttrEntry(handleOf(file_), scope.kind, static_cast<long>(scope.attribute), 0,
                                datatype, 1, &value),
                0);
      EXPECT_EQ(raised(scope.inquire, file_, scope.attribute, 0.0),
                (Raised{"VORLAN:tarvik:packUpDatatype:unhandledDatatype",
                        "Unhandled datatype " + code + "."}));
      EXPECT_EQ(raised(scope.get, file_, scope.attribute, 0.0),
                (Raised{"VORLAN:tarvik:setInputBufferSize:unknownDatatype",
                        code + " is not a recognized datatype."}));
    }
  }
}

}  // namespace
