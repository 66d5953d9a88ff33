// Reading and writing values: the shapes that come back, and what is refused in which order.
#include "tests/gateway/gateway_test.h"
#include "tests/gateway/statuses.h"

namespace {

Raised noVariable(const char* operation) {
  return failureOf(operation, NO_SUCH_VAR, "variableInquiryFailure");
}

Raised invalidCount(const std::string& operation) {
  return vorlan(operation + ":badCount",
                "The requested counts do not describe a valid number of elements.");
}

Raised badLength(const std::string& count, const std::string& name) {
  return vorlan("hyperGetVarRecordData:badLength",
                "The length of the dimension start, count, and stride arguments should be " +
                    count + " for the CDF variable \"" + name + "\".");
}

Raised mismatch(const std::string& operation, const std::string& given, const std::string& type) {
  return vorlan(operation + ":datatypeMismatch",
                "The input datatype is " + given +
                    ", which is not compatible with the CDF variable datatype " + type + ".");
}

class TransferTest : public GatewayTest {
 protected:
  void SetUp() override {
    rows_ = create("rows");
    columns_ = create("columns");
    call("setMajority", columns_, 2.0);
  }
  void TearDown() override {
    close(rows_);
    close(columns_);
    GatewayTest::TearDown();
  }

  File rows_;
  File columns_;
};

TEST_F(TransferTest, ValuesHaveTheShapesOfTheirTypes) {
  const struct {
    double type;
    double numElements;
    List extents;
    const char* one;     // Of getVarData,
    const char* record;  // getVarRecordData
    const char* slab;    // and hyperGetVarData of all extents in three records.
  } rows[] = {
      {12, 1, {}, "uint16 1x1", "uint16 1x1", "uint16 3x1"},
      {2, 1, {3, 4}, "int16 1x1", "int16 3x4", "int16 3x4x3"},
      {22, 1, {5}, "double 1x1", "double 5x1", "double 5x3"},
      {32, 1, {}, "double 2x1", "double 2x1", "double 2x3"},
      {32, 1, {3}, "double 2x1", "double 2x3", "double 2x3x3"},
      {51, 4, {}, "char 4x1", "char 4x1", "char 4x3"},
      {51, 8, {2}, "char 8x1", "char 8x2", "char 8x2x3"},
      {52, 1, {}, "char 1x1", "char 1x1", "char 1x3"},
      {52, 1, {5}, "char 1x1", "char 5x1", "char 1x5x3"},
      {52, 1, {5, 2}, "char 1x1", "char 5x2", "char 1x5x2x3"},
  };
  const auto shapeOf = [](const std::vector<Array>& outputs) {
    const std::string text = shown(outputs.at(0));
    return text.substr(0, text.find(':'));
  };
  for (const File file : {rows_, columns_}) {
    double number = 0;
    for (const auto& row : rows) {
      createVar(file, std::to_string(number), row.type, row.numElements, row.extents);
      const List zeros(row.extents.size(), 0);
      const List ones(row.extents.size(), 1);
      EXPECT_EQ(shapeOf(call("getVarData", file, number, 0.0, zeros)), row.one);
      EXPECT_EQ(shapeOf(call("getVarRecordData", file, number, 0.0)), row.record);
      EXPECT_EQ(
          shapeOf(call("hyperGetVarData", file, number++, 0.0, 3.0, 1.0, zeros, row.extents, ones)),
          row.slab);
    }
  }
}

TEST_F(TransferTest, ShapesOfValuesThatAreWrittenDoNotMatter) {
  const double number = createVar(rows_, "x", 4, 1, {2, 3});
  for (const Dims& shape : {Dims{1, 6}, Dims{3, 2}, Dims{1, 2, 3}}) {
    call("putVarRecordData", rows_, number, 0.0, numbers<std::int32_t>(shape, {1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(shown(call("getVarRecordData", rows_, number, 0.0).at(0)), "int32 2x3: 1 2 3 4 5 6");
    call("putVarRecordData", rows_, number, 0.0, numbers<std::int32_t>({6, 1}, {0, 0, 0, 0, 0, 0}));
  }
}

TEST_F(TransferTest, ReadsAreCheckedInOrder) {
  const double none = createVar(rows_, "none", 4);
  const double two = createVar(rows_, "two", 4, 1, {5, 4});
  const auto value = [&](double number, const Input& indices, const Raised& raised) -> Refusal {
    return {"getVarData", {rows_, number, 0.0, indices}, raised};
  };
  const auto badDimSpec = [](const std::string& count) {
    return vorlan("getVarData:badDimSpec",
                  "The length of the dimension indices argument must equal the number of "
                  "dimensions (" +
                      count + ").");
  };
  const Raised tooLarge = vorlan("hyperGetVarRecordData:dimSizeTooLarge",
                                 "The specified dimension size exceeds that of the variable.");
  const Raised badCount = invalidCount("hyperGetVarData");
  const Raised notANumber = vorlan("unpackLongScalar:argumentNotDoubleScalar",
                                   "Scalar argument must be double precision instead of char.");
  const Raised notAList = vorlan("unpackVector:argumentNotDouble",
                                 "Vector argument must be double precision instead of char.");
  const auto slab = [&](double number, List records, Input starts, Input counts, Input intervals,
                        const Raised& raised) -> Refusal {
    return {"hyperGetVarData",
            {rows_, number, records[0], records[1], records[2], starts, counts, intervals},
            raised};
  };
  const auto failure = [](long status) { return failureOf("hyperGetVarData", status); };
  const Raised outside = failureOf("getVarData", BAD_DIM_INDEX);
  const List zeros = {0, 0}, ones = {1, 1}, one = {0, 1, 1}, negative = {0, -1, 1};
  expectRefused({
      {"getVarData", {rows_, two, "0"}, notANumber},
      // The indices are read only after the variable was found.
      value(9, "0", noVariable("getVarData")),
      value(two, "0", notAList),
      {"getVarData",
       {rows_, two, 0.0},
       vorlan("getVarData:cannotOmitDimSpec",
              "The dimension indices argument cannot be omitted when the number of dimensions is "
              "not zero.")},
      value(two, List{0}, badDimSpec("2")),
      value(none, List{0}, badDimSpec("0")),
      value(two, List{5, 0}, outside),
      value(two, List{0, -1}, outside),
      {"getVarRecordData", {rows_, 9.0, "0"}, notANumber},
      {"getVarRecordData", {rows_, 9.0, 0.0}, noVariable("getVarRecordData")},

      slab(9, one, zeros, ones, "1", notAList),
      slab(9, one, zeros, ones, ones, noVariable("hyperGetVarData")),
      slab(two, negative, List{0}, List{6, 4}, ones, badLength("2", "two")),
      slab(two, one, zeros, List{}, ones, badLength("2", "two")),
      slab(two, one, zeros, ones, List{1, 1, 1}, badLength("2", "two")),
      slab(none, one, List{0}, List{}, List{}, badLength("0", "none")),
      slab(two, negative, zeros, List{6, 4}, ones, tooLarge),
      slab(two, one, zeros, List{-1, 5}, ones, tooLarge),
      slab(two, negative, zeros, ones, ones, badCount),
      slab(two, {-1, 1, 1}, zeros, List{5, -4}, ones, badCount),
      slab(two, negative, zeros, List{-5, 4}, ones, badCount),
      // Zero counts, intervals and starts beyond the end are for the library.
      slab(two, {0, 0, 1}, zeros, ones, ones, failure(BAD_REC_COUNT)),
      slab(two, {0, 1, 0}, zeros, ones, ones, failure(BAD_REC_INTERVAL)),
      slab(two, one, zeros, List{1, 0}, ones, failure(BAD_DIM_COUNT)),
      slab(two, one, zeros, ones, List{0, 1}, failure(BAD_DIM_INTERVAL)),
      slab(two, one, List{5, 0}, ones, ones, failure(BAD_DIM_INDEX)),
      slab(two, one, List{1, 0}, List{3, 4}, List{2, 1}, failure(BAD_DIM_INDEX)),
  });
}

TEST_F(TransferTest, WritesAreCheckedInOrder) {
  const double plain = createVar(rows_, "plain", 4);
  const double grid = createVar(rows_, "grid", 31, 1, {3, 4});
  const double pairs = createVar(rows_, "pairs", 32, 1, {3});
  const double texts = createVar(rows_, "texts", 51, 5, {2});
  const auto value = [&](double number, const Input& indices, const Input& given,
                         const Raised& raised) -> Refusal {
    return {"putVarData", {rows_, number, 0.0, indices, given}, raised};
  };
  const auto badExtent = [](const std::string& name, const std::string& length) {
    return vorlan(
        "putVarData:badDimensionExtent",
        "CDF variable \"" + name + "\" requires a dimension argument of length " + length + ".");
  };
  const auto needsOne = [](const std::string& name, const std::string& needed) {
    return vorlan("putVarData:wrongNumberOfElements", "When using putVarData with variable \"" +
                                                          name + "\", exactly " + needed +
                                                          " must be provided.");
  };
  const auto record = [&](double number, const Input& given, const Raised& raised) -> Refusal {
    return {"putVarRecordData", {rows_, number, 0.0, given}, raised};
  };
  const auto needs = [](const std::string& name, const std::string& needed) {
    return vorlan("putVarRecordData:wrongNumberOfElements", "When writing a record to variable \"" +
                                                                name + "\", exactly " + needed +
                                                                " elements must be provided.");
  };
  const Input one = row<std::int32_t>({1});
  const Input twelve = row(std::vector<std::int32_t>(12, 1));
  const List none;
  expectRefused({
      value(9, none, one, noVariable("putVarData")),
      value(plain, List{0}, twelve, badExtent("plain", "0")),
      value(grid, List{0, 0, 0}, 1.0, badExtent("grid", "2")),
      value(grid, List{3, 0}, 1.0, failureOf("putVarData", BAD_DIM_INDEX)),
      value(plain, none, List{1, 2}, needsOne("plain", "1 element")),
      value(pairs, List{0}, 1.0, needsOne("pairs", "2 double precision values")),
      value(texts, List{0}, "abc", needsOne("texts", "5 elements")),
      value(plain, none, row<std::int16_t>({1}), mismatch("putVarData", "int16", "CDF_INT4")),
      value(pairs, List{0}, "ab", mismatch("putVarData", "char", "CDF_EPOCH16")),
      value(texts, List{0}, List(5, 0), mismatch("putVarData", "double", "CDF_CHAR")),

      record(9, one, noVariable("putVarRecordData")),
      record(plain, twelve, needs("plain", "1")),
      record(grid, List(11, 0), needs("grid", "12")),
      record(pairs, List(3, 0), needs("pairs", "6")),
      record(texts, "abcde", needs("texts", "10")),
      record(grid, twelve, mismatch("putVarRecordData", "int32", "CDF_EPOCH")),
      record(plain, oneOf(vlCELL_CLASS), mismatch("putVarRecordData", "cell", "CDF_INT4")),
  });
  EXPECT_EQ(numberOf(call("inquire", rows_).at(2)), -1);
}

TEST_F(TransferTest, WritesOfHyperslabsAreCheckedInOrder) {
  createVar(rows_, "x", 4, 1, {5, 4});
  createVar(columns_, "x", 4, 1, {5, 4});
  createVar(rows_, "none", 32);
  const auto slab = [](File file, double number, double records, const List& starts,
                       const List& counts, const Input& values, const Raised& raised) -> Refusal {
    const List ones(starts.size(), 1);
    return {
        "hyperPutVarData", {file, number, 0.0, records, 1.0, starts, counts, ones, values}, raised};
  };
  const auto wrong = [](const std::string& counts, const std::string& records,
                        const std::string& name, const std::string& needed) {
    return vorlan("hyperPutVarData:wrongNumberOfElements",
                  "When specifying a dimension count of " + counts + " and a record count of " +
                      records + " with variable \"" + name + "\", exactly " + needed +
                      " elements must be provided.");
  };
  const auto failure = [](long status) { return failureOf("hyperPutVarData", status); };
  const Input values = row(std::vector<std::int32_t>(24, 1)), empty = row<std::int32_t>({});
  const List zeros = {0, 0};
  const double most = 2147483647;
  expectRefused({
      slab(rows_, 9, 1, zeros, zeros, values, noVariable("hyperPutVarData")),
      slab(rows_, 0, 1, {0}, {1, 1}, values, badLength("2", "x")),
      slab(rows_, 0, 1, zeros, {1, 1, 1}, values, badLength("2", "x")),
      slab(rows_, 0, 4, zeros, {2, 3}, 1.0, wrong("[ 3 2 ]", "4", "x", "24")),
      slab(columns_, 0, 4, zeros, {2, 3}, 1.0, wrong("[ 2 3 ]", "4", "x", "24")),
      slab(rows_, 1, 3, {}, {}, 1.0, wrong("[ ]", "3", "none", "6")),
      slab(rows_, 0, -4, zeros, {-2, 3}, values, wrong("[ 3 -2 ]", "-4", "x", "24")),
      slab(rows_, 0, -1, zeros, {1, 1}, values, wrong("[ 1 1 ]", "-1", "x", "4294967295")),
      slab(rows_, 0, most, zeros, {most, most}, 1.0, invalidCount("hyperPutVarData")),
      slab(rows_, 0, 4, zeros, {2, 3}, List(24, 0),
           mismatch("hyperPutVarData", "double", "CDF_INT4")),
      // No elements fit a count of zero; then the library decides.
      slab(rows_, 0, 0, zeros, {2, 3}, empty, failure(BAD_REC_COUNT)),
      slab(rows_, 0, 1, zeros, {0, 3}, empty, failure(BAD_DIM_COUNT)),
      slab(rows_, 0, 4, {4, 0}, {2, 3}, values, failure(BAD_DIM_INDEX)),
  });
  EXPECT_EQ(numberOf(call("inquire", rows_).at(2)), -1);
}

TEST_F(TransferTest, DatatypesThatAreNotServedAreRefused) {
  const double number = createVar(rows_, "x", 33);
  const List none;
  const Input value = row<std::int64_t>({1});
  const std::pair<const char*, Inputs> rows[] = {
      {"getVarData", {}},
      {"getVarRecordData", {}},
      {"hyperGetVarData", {1.0, 1.0, none, none, none}},
      {"putVarData", {none, value}},
      {"putVarRecordData", {value}},
      {"hyperPutVarData", {1.0, 1.0, none, none, none, value}},
  };
  for (const auto& [operation, more] : rows) {
    Inputs inputs = {rows_, number, 0.0};
    inputs.insert(inputs.end(), more.begin(), more.end());
    EXPECT_EQ(raisedWith(operation, inputs),
              vorlan("mapCdfDatatypeToVorlan:unknownDatatype",
                     "33 is not a recognized enumerated CDF datatype value."));
  }
}

}  // namespace
