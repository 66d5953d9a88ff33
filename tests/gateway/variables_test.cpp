// Variables: making, describing, finding, renaming, deleting and closing them.
#include <cmath>

#include "cdf/call.h"
#include "tests/gateway/datatypes.h"
#include "tests/gateway/gateway_test.h"
#include "tests/gateway/statuses.h"

namespace {

class VariablesTest : public GatewayTest {
 protected:
  void SetUp() override { file_ = create("a"); }
  void TearDown() override {
    close(file_);
    GatewayTest::TearDown();
  }

  double numVariables() { return numberOf(call("inquire", file_).at(3)); }

  File file_;
};

TEST_F(VariablesTest, WhatIsCreatedIsDescribed) {
  double number = 0;
  for (const DatatypeRow& type : datatypes) {
    const double numElements = type.classId == vlCHAR_CLASS ? 7 : 1;
    EXPECT_EQ(createVar(file_, type.name, type.code, numElements, {2, 3}), number);
    const std::vector<Array> facts = call("inquireVar", file_, number++);
    ASSERT_EQ(facts.size(), 6U);
    EXPECT_EQ(textOf(facts[0]), type.name);
    EXPECT_EQ(textOf(facts[1]), type.name);
    EXPECT_EQ(numberOf(facts[2]), numElements);
    EXPECT_EQ(shown(facts[3]), "double 1x2: 2 3");
  }
}

/// The extents and variances of the first variable in the library's own order.
std::vector<long> inTheLibrary(File file) {
  std::vector<long> both(6, 99);
  tarvik::cdf::onVariable(handleOf(file), 0L, tarvik::GET_, tarvik::zVAR_DIMSIZES_, both.data(),
                          tarvik::zVAR_DIMVARYS_, both.data() + 3);
  return both;
}

TEST_F(VariablesTest, DimensionsAreInTheUsersOrderInBothMajorities) {
  const File columns = create("columns");
  call("setMajority", columns, 2.0);
  const std::pair<File, std::vector<long>> rows[] = {{file_, {40, 20, 10, 0, 0, -1}},
                                                     {columns, {10, 20, 40, -1, 0, 0}}};
  for (const auto& [file, stored] : rows) {
    call("createVar", file, "x", 4.0, 1.0, List{10, 20, 40}, logicals({false}),
         logicals({true, false, false}));
    EXPECT_EQ(inTheLibrary(file), stored);
    const std::vector<Array> facts = call("inquireVar", file, 0.0);
    EXPECT_EQ(shown(facts[3]), "double 1x3: 10 20 40");
    EXPECT_EQ(shown(facts[4]), "logical 1x1: 0");
    EXPECT_EQ(shown(facts[5]), "logical 1x3: 1 0 0");
  }
  close(columns);
}

TEST_F(VariablesTest, VariancesAreLogicalsOrDoubles) {
  const Input noLogicals = logicals({});
  for (const Input& none : {Input(List{}), noLogicals}) {
    const std::string name = std::to_string(numVariables());
    const Array number =
        std::move(call("createVar", file_, name, 51.0, 3.0, List{}, -1.0, none).at(0));
    const std::vector<Array> facts = call("inquireVar", file_, number.get());
    EXPECT_EQ(shown(facts[3]), "double 0x0:");
    EXPECT_EQ(shown(facts[5]), "logical 0x0:");
  }
  const std::pair<Input, std::string> taken[] = {
      {logicals({true}), "1"}, {logicals({false}), "0"}, {-1.0, "1"}, {0.0, "0"}, {-0.0, "0"}};
  for (const auto& [variance, seen] : taken) {
    const std::string name = std::to_string(numVariables());
    const Array number =
        std::move(call("createVar", file_, name, 4.0, 1.0, List{2}, variance, variance).at(0));
    const std::vector<Array> facts = call("inquireVar", file_, number.get());
    EXPECT_EQ(shown(facts[4]), "logical 1x1: " + seen);
    EXPECT_EQ(shown(facts[5]), "logical 1x1: " + seen);
  }
  const auto illegal = [](const char* value) -> Raised {
    return {"VORLAN:tarvik:unpackVariance:illegalVariance",
            std::string(value) + " is an illegal variance value."};
  };
  const Raised wrongClass = {"VORLAN:tarvik:unpackVariance:wrongDatatype",
                             "A variance argument must be either logical or numeric."};
  const std::pair<Input, Raised> refused[] = {
      {1.0, illegal("1.000000")},
      {-0.5, illegal("-0.500000")},
      {std::nan(""), illegal("nan")},
      {List{-1, 0, 2, 3}, illegal("2.000000")},
      {row<float>({-1}), wrongClass},
      {row<std::int32_t>({}), wrongClass},
      {"", wrongClass},
      {oneOf(vlCELL_CLASS), wrongClass},
  };
  for (const auto& [variance, expected] : refused) {
    EXPECT_EQ(raised("createVar", file_, "x", 4.0, 1.0, List{2}, variance, -1.0), expected);
    EXPECT_EQ(raised("createVar", file_, "x", 4.0, 1.0, List{2}, -1.0, variance), expected);
  }
}

TEST_F(VariablesTest, WhatCannotBeCreatedLeavesTheFileAsItWas) {
  createVar(file_, "taken", 4);
  const auto create = [this](const char* name, double type, double elements, Input extents,
                             Input recVary, Input dimVarys, const Raised& raised) -> Refusal {
    return {"createVar", {file_, name, type, elements, extents, recVary, dimVarys}, raised};
  };
  const Raised badRecVariance = {"VORLAN:tarvik:createVar:badRecVariance",
                                 "The record variance input must contain exactly one value."};
  const Raised mismatch = {"VORLAN:tarvik:createVar:mismatchedVarianceSize",
                           "The length of the dimension variances (3) does not equal the length "
                           "of the dimension extents (2)."};
  const Input wrongVariance = "x";
  const List eleven(11, 1);
  expectRefused({
      create("x", 4, 1, List{}, List{}, List{}, badRecVariance),
      create("x", 4, 1, List{}, logicals({true, true}), wrongVariance, badRecVariance),
      create("x", 4, 1, List{2, 3}, -1.0, logicals({true, true, true}), mismatch),
      create("x", 3, 1, List{2, 3}, -1.0, List{0, 0, 0}, mismatch),
      create("x", 3, 1, List{}, -1.0, List{}, failureOf("createVar", BAD_DATA_TYPE)),
      create("x", 4, 0, List{}, -1.0, List{}, failureOf("createVar", BAD_NUM_ELEMS)),
      create("x", 4, 3, List{}, -1.0, List{}, failureOf("createVar", BAD_NUM_ELEMS)),
      create("x", 4, 1, List{0}, -1.0, List{-1}, failureOf("createVar", BAD_DIM_SIZE)),
      create("x", 4, 1, List{2, -1}, -1.0, List{-1, -1}, failureOf("createVar", BAD_DIM_SIZE)),
      create("x", 4, 1, eleven, -1.0, List(11, -1), failureOf("createVar", BAD_NUM_DIMS)),
      create("taken", 4, 1, List{}, -1.0, List{}, failureOf("createVar", VAR_EXISTS)),
      create("", 4, 1, List{}, -1.0, List{}, failureOf("createVar", BAD_VAR_NAME)),
      create("\xE9", 4, 1, List{}, -1.0, List{}, failureOf("createVar", BAD_VAR_NAME)),
  });
  EXPECT_EQ(numVariables(), 1);
}

TEST_F(VariablesTest, NamesAndNumbersLeadToEachOther) {
  createVar(file_, "first", 4);
  const double number = createVar(file_, "second", 4);
  EXPECT_EQ(numberOf(call("getVarNum", file_, "second").at(0)), number);
  EXPECT_EQ(textOf(call("getVarName", file_, number).at(0)), "second");

  EXPECT_TRUE(call("renameVar", file_, number, "another").empty());
  EXPECT_EQ(textOf(call("getVarName", file_, number).at(0)), "another");
  EXPECT_TRUE(call("closeVar", file_, 0.0).empty());
  EXPECT_TRUE(call("deleteVar", file_, 0.0).empty());
  EXPECT_EQ(numberOf(call("getVarNum", file_, "another").at(0)), 0);

  expectRefused({
      {"getVarNum", {file_, "second"}, failureOf("getVarNum", NO_SUCH_VAR)},
      {"getVarName", {file_, 1.0}, failureOf("getVarName", NO_SUCH_VAR)},
      {"getVarName", {file_, -1.0}, failureOf("getVarName", BAD_VAR_NUM)},
      {"getVarName", {file_, std::nan("")}, failureOf("getVarName", BAD_VAR_NUM)},
      {"inquireVar", {file_, 1.0}, failureOf("inquireVar", NO_SUCH_VAR)},
      {"renameVar", {file_, 1.0, "x"}, failureOf("renameVar", NO_SUCH_VAR)},
      {"renameVar", {file_, 0.0, ""}, failureOf("renameVar", BAD_VAR_NAME)},
      {"deleteVar", {file_, 1.0}, failureOf("deleteVar", NO_SUCH_VAR)},
      {"closeVar", {file_, 1.0}, failureOf("closeVar", NO_SUCH_VAR)},
  });
  createVar(file_, "not served", 33);
  EXPECT_EQ(raised("inquireVar", file_, 1.0),
            (Raised{"VORLAN:tarvik:packUpDatatype:unhandledDatatype", "Unhandled datatype 33."}));
}

}  // namespace
