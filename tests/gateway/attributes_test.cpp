// Attributes: making, finding, describing, renaming and deleting them, and counting their entries.
#include "cdf/functions.h"
#include "tests/gateway/gateway_test.h"
#include "tests/gateway/statuses.h"

namespace {

/// A file with two variables and one attribute of each kind, with entries, and a third without.
class AttributesTest : public GatewayTest {
 protected:
  static constexpr double global = 0;
  static constexpr double variable = 1;
  static constexpr double empty = 2;
  static constexpr double missing = 3;

  void SetUp() override {
    file_ = create("a");
    createVar(file_, "v", 4);
    createVar(file_, "w", 4);
    EXPECT_EQ(numberOf(call("createAttr", file_, "Global", 1.0).at(0)), global);
    EXPECT_EQ(numberOf(call("createAttr", file_, "Variable", 2.0).at(0)), variable);
    EXPECT_EQ(numberOf(call("createAttr", file_, "Empty", 1.0).at(0)), empty);
    for (const double entry : {0.0, 4.0}) {
      call("putAttrgEntry", file_, global, entry, 45.0, 1.5);
    }
    call("putAttrEntry", file_, variable, 1.0, 45.0, 1.5);
  }

  void TearDown() override {
    close(file_);
    GatewayTest::TearDown();
  }

  std::vector<std::string> inquired(double number) {
    std::vector<std::string> result;
    for (const Array& output : call("inquireAttr", file_, number)) {
      result.push_back(shown(output));
    }
    return result;
  }

  File file_;
};

using Texts = std::vector<std::string>;

TEST_F(AttributesTest, AreFoundAndDescribed) {
  EXPECT_EQ(inquired(global), (Texts{"char 1x6: Global", "char 1x12: GLOBAL_SCOPE", "double 1x1: 4",
                                     "double 1x1: -1"}));
  EXPECT_EQ(inquired(variable), (Texts{"char 1x8: Variable", "char 1x14: VARIABLE_SCOPE",
                                       "double 1x1: -1", "double 1x1: 1"}));
  EXPECT_EQ(shown(call("getAttrNum", file_, "Variable").at(0)), "double 1x1: 1");
  EXPECT_EQ(shown(call("getAttrName", file_, 1.0).at(0)), "char 1x8: Variable");
  EXPECT_EQ(textOf(call("getAttrScope", file_, 0.0).at(0)), "GLOBAL_SCOPE");
  EXPECT_EQ(textOf(call("getAttrScope", file_, 1.0).at(0)), "VARIABLE_SCOPE");
}

TEST_F(AttributesTest, AreRenamedAndDeleted) {
  EXPECT_TRUE(call("renameAttr", file_, 0.0, "New name").empty());
  EXPECT_EQ(textOf(call("getAttrName", file_, 0.0).at(0)), "New name");
  EXPECT_EQ(raised("getAttrNum", file_, "Global"), failureOf("getAttrNum", NO_SUCH_ATTR));
  EXPECT_TRUE(call("deleteAttr", file_, 0.0).empty());
  EXPECT_EQ(numberOf(call("getAttrNum", file_, "Variable").at(0)), 0);  // those behind move up
  EXPECT_EQ(raised("getAttrName", file_, 2.0), failureOf("getAttrName", NO_SUCH_ATTR));
}

// Which entries an attribute has is the library's to say, for the kinds that it does not have too.
TEST_F(AttributesTest, CountsAreTheLibrarysAnswer) {
  using Function = CDFstatus(CDFid, int, long, long*);
  const struct {
    const char* operation;
    Function* function;
    int kind;
    std::string ofGlobal;
    std::string ofVariable;
  } rows[] = {
      {"getNumAttrgEntries", CDFgetNumAttrEntries, 1, "double 1x1: 2", ""},
      {"getNumAttrEntries", CDFgetNumAttrEntries, 3, "", "double 1x1: 1"},
      {"getAttrMaxgEntry", CDFgetAttrMaxEntry, 1, "double 1x1: 4", ""},
      {"getAttrMaxEntry", CDFgetAttrMaxEntry, 3, "", "double 1x1: 1"},
  };
  for (const auto& row : rows) {
    for (const double number : {global, variable, empty, missing}) {
      SCOPED_TRACE(row.operation + std::to_string(number));
      long expected = 0;
      const CDFstatus status =
          row.function(handleOf(file_), row.kind, static_cast<long>(number), &expected);
      if (status < 0) {
        EXPECT_EQ(raised(row.operation, file_, number), failureOf(row.operation, status));
      } else {
        EXPECT_EQ(numberOf(call(row.operation, file_, number).at(0)),
                  static_cast<double>(expected));
      }
    }
    const std::string& known = row.kind == 1 ? row.ofGlobal : row.ofVariable;
    EXPECT_EQ(shown(call(row.operation, file_, row.kind == 1 ? 0.0 : 1.0).at(0)), known);
  }
  EXPECT_EQ(numberOf(call("getAttrMaxgEntry", file_, empty).at(0)), -1);
}

TEST_F(AttributesTest, TheLibraryJudgesScopes) {
  const struct {
    double code;
    const char* scope;
  } accepted[] = {
      {1, "GLOBAL_SCOPE"}, {2, "VARIABLE_SCOPE"}, {3, "GLOBAL_SCOPE"}, {4, "VARIABLE_SCOPE"}};
  for (const auto& row : accepted) {
    const std::string name = "scope " + std::to_string(row.code);
    const double number = numberOf(call("createAttr", file_, name, row.code).at(0));
    EXPECT_EQ(textOf(call("getAttrScope", file_, number).at(0)), row.scope) << name;
  }
  for (const double code : {0.0, 5.0, -1.0}) {
    EXPECT_EQ(raised("createAttr", file_, "refused", code), failureOf("createAttr", BAD_SCOPE));
  }
}

TEST_F(AttributesTest, RefusalsOfTheLibraryChangeNothing) {
  const std::string longName(257, 'n');
  EXPECT_EQ(raised("createAttr", file_, "Global", 1.0), failureOf("createAttr", ATTR_EXISTS));
  EXPECT_EQ(raised("createAttr", file_, longName, 1.0), failureOf("createAttr", ATTR_NAME_TRUNC));
  EXPECT_EQ(raised("renameAttr", file_, 0.0, longName), failureOf("renameAttr", ATTR_NAME_TRUNC));
  EXPECT_EQ(raised("renameAttr", file_, 0.0, "Variable"), failureOf("renameAttr", ATTR_EXISTS));
  EXPECT_EQ(raised("renameAttr", file_, 9.0, "n"), failureOf("renameAttr", NO_SUCH_ATTR));
  EXPECT_EQ(raised("getAttrNum", file_, "nowhere"), failureOf("getAttrNum", NO_SUCH_ATTR));
  for (const char* operation : {"deleteAttr", "getAttrName", "getAttrScope", "inquireAttr"}) {
    EXPECT_EQ(raised(operation, file_, 9.0), failureOf(operation, NO_SUCH_ATTR));
    EXPECT_EQ(raised(operation, file_, -1.0), failureOf(operation, BAD_ATTR_NUM));
  }
  EXPECT_EQ(textOf(call("getAttrName", file_, 0.0).at(0)), "Global");
  EXPECT_EQ(numberOf(call("inquire", file_).at(4)), 3);
}

TEST_F(AttributesTest, TheFirstBadInputIsReported) {
  const File none;
  EXPECT_EQ(raised("createAttr", none, 1.0, "x").identifier,
            "VORLAN:tarvik:unpackCDFId:invalidFileId");
  EXPECT_EQ(raised("createAttr", file_, 1.0, "x").identifier,
            "VORLAN:tarvik:unpackString:argumentNotChar");
  EXPECT_EQ(raised("createAttr", file_, "n", "x").identifier,
            "VORLAN:tarvik:unpackLongScalar:argumentNotDoubleScalar");
  EXPECT_EQ(raised("renameAttr", file_, "x", 1.0).identifier,
            "VORLAN:tarvik:unpackLongScalar:argumentNotDoubleScalar");
}

}  // namespace
