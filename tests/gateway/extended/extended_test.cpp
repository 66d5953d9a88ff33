// What the extended plug-in has besides: the constants and entries of its two datatypes, and times
// with leap seconds. Transfers and pad values of both are tested with those of all datatypes.
#include <cstring>
#include <limits>

#include "cdf/functions.h"
#include "tests/gateway/gateway_test.h"

namespace {

using Times = std::vector<std::int64_t>;

constexpr std::int64_t fill = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t pad = fill + 1;
constexpr std::int64_t illegal = fill + 3;

using ExtendedTest = GatewayTest;

TEST_F(ExtendedTest, ConstantsOfItsDatatypes) {
  EXPECT_EQ(dimsOf(call("getConstantNames").at(0)), (Dims{57, 1}));
  EXPECT_EQ(numberOf(call("getConstantValue", "CDF_INT8").at(0)), 8);
  EXPECT_EQ(numberOf(call("getConstantValue", "CDF_TIME_TT2000").at(0)), 33);
}

TEST_F(ExtendedTest, EntriesOfItsDatatypes) {
  const std::pair<double, const char*> types[] = {{8, "cdf_int8"}, {33, "cdf_time_tt2000"}};
  const std::tuple<double, int, std::string> scopes[] = {{0, 1, "g"}, {1, 3, ""}};
  const Times values = {fill, -1, std::numeric_limits<std::int64_t>::max()};
  const File file = create("a");
  call("createAttr", file, "global", 1.0);
  call("createAttr", file, "perVariable", 2.0);
  for (const auto& [code, name] : types) {
    for (const auto& [attribute, kind, letter] : scopes) {
      call("putAttrEntry", file, attribute, 0.0, code, row(values));
      Times stored(values.size());
      EXPECT_EQ(
          CDFgetAttrEntry(handleOf(file), kind, static_cast<long>(attribute), 0, stored.data()), 0);
      EXPECT_EQ(stored, values);
      EXPECT_EQ(shown(callWith("getAttr" + letter + "Entry", {file, attribute, 0.0}).at(0)),
                shown(row(values)));
      const auto facts = callWith("inquireAttr" + letter + "Entry", {file, attribute, 0.0});
      EXPECT_EQ(textOf(facts.at(0)), name);
      EXPECT_EQ(numberOf(facts.at(1)), 3);
    }
    EXPECT_EQ(raised("putAttrEntry", file, 0.0, 0.0, code, row<std::uint64_t>({1})).identifier,
              "VORLAN:tarvik:putAttrEntry:badDatatype");
  }
  close(file);
}

TEST_F(ExtendedTest, KnownTimes) {
  const struct {
    List components;
    std::int64_t time;
    bool returns;
  } rows[] = {
      {{2000, 1, 1, 11, 58, 55, 816, 0, 0}, 0, true},
      {{2016, 12, 31, 23, 59, 59, 999, 999, 999}, 536500868183999999, true},
      {{2016, 12, 31, 23, 59, 60, 0, 0, 0}, 536500868184000000, true},
      {{2016, 12, 31, 23, 59, 60, 999, 999, 999}, 536500869183999999, true},
      {{2017, 1, 1, 0, 0, 0, 0, 0, 0}, 536500869184000000, true},
      {{1972, 6, 30, 23, 59, 60, 0, 0, 0}, -867931157816000000, true},
      {{1965, 3, 3, 3, 3, 3, 3, 3, 3},
       -1099212981093162997,
       true},  // seconds were of other lengths
      {{2292, 4, 11, 11, 46, 7, 670, 775, 807}, std::numeric_limits<std::int64_t>::max(), true},
      {{9999, 12, 31, 23, 59, 59, 999, 999, 999}, fill, true},
      {{0, 1, 1, 0, 0, 0, 0, 0, 0}, pad, true},
      {{1707, 9, 22, 12, 12, 10, 961, 224, 194}, fill + 2, true},
      // Written in another way: no leap second, a day of the year, month 13, day 0.
      {{2015, 12, 31, 23, 59, 60, 0, 0, 0}, 504878468184000000, false},
      {{2016, 0, 366, 0, 0, 0, 0, 0, 0}, 536414468184000000, false},
      {{2016, 13, 1, 0, 0, 0, 0, 0, 0}, 536500869184000000, false},
      {{2016, 1, 0, 0, 0, 0, 0, 0, 0}, 504792068184000000, false},
      // Cut toward zero.
      {{2016.9, 12.9, 31.9, 23.9, 59.9, 60.9, .9, .9, .9}, 536500868184000000, false},
      {{1700, 1, 1, 0, 0, 0, 0, 0, 0}, illegal, false},
      {{2293, 1, 1, 0, 0, 0, 0, 0, 0}, illegal, false},
      {{2016, 2, 30, 0, 0, 0, 0, 0, 0}, illegal, false},
      {{2016, 1, 1, -1, 0, 0, 0, 0, 0}, illegal, false},
      {{2016, -1, 1, 0, 0, 0, 0, 0, 0}, illegal, false},
      {{2016, 14, 1, 0, 0, 0, 0, 0, 0}, illegal, false},
      {{2016, 1, -367, 0, 0, 0, 0, 0, 0}, illegal, false},
  };
  for (const auto& [components, time, returns] : rows) {
    EXPECT_EQ(valuesOf<std::int64_t>(call("computeTT2000", components).at(0)), Times{time})
        << testing::PrintToString(components);
    const auto back = call("tt2000Breakdown", row(Times{time}));
    EXPECT_EQ(valuesOf<double>(back.at(0)) == components, returns) << time;
  }
}

TEST_F(ExtendedTest, ArraysAreTheLibrarysValuesOneByOne) {
  List components, parts;
  Times times;
  for (int i = 0; i < 500; ++i) {
    const int whole[] = {1710 + i,    1 + i % 13,   1 + i * 7 % 33, i * 5 % 30, i * 11 % 70,
                         i * 13 % 70, i * 37 % 999, i * 17 % 1200,  i * 1000};
    const List c(std::begin(whole), std::end(whole));
    components.insert(components.end(), c.begin(), c.end());
    times.push_back(computeTT2000(c[0], c[1], c[2], c[3], c[4], c[5], c[6], c[7], c[8]));
    double p[9];
    breakdownTT2000(times.back(), p, p + 1, p + 2, p + 3, p + 4, p + 5, p + 6, p + 7, p + 8);
    parts.insert(parts.end(), std::begin(p), std::end(p));
  }
  const auto made = call("computeTT2000", components);
  EXPECT_EQ(valuesOf<std::int64_t>(made.at(0)), times);
  EXPECT_EQ(valuesOf<double>(call("tt2000Breakdown", made.at(0).get()).at(0)), parts);
}

TEST_F(ExtendedTest, NoComponentDoesHarm) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (std::size_t i = 0; i < 9; ++i) {
    List components = {2016, 1, 1, 0, 0, 0, 0, 0, 0};
    for (const double value : {nan, -2147483648.0, -1e9, -1.0}) {
      if (i == 2 && value == -1) continue;
      components[i] = value;
      EXPECT_EQ(valuesOf<std::int64_t>(call("computeTT2000", components).at(0)), Times{illegal})
          << i << ' ' << value;
    }
    for (const double value : {1e9, 2147483647.0}) {
      components[i] = value;
      const Times made = valuesOf<std::int64_t>(call("computeTT2000", components).at(0));
      EXPECT_EQ(made == Times{illegal}, i < 5) << i << ' ' << value;
    }
    for (const double value : {1e300, -3e9, std::numeric_limits<double>::infinity()}) {
      components[i] = value;
      EXPECT_EQ(raised("computeTT2000", components).identifier,
                "VORLAN:tarvik:unpackVector:outOfRange");
    }
  }
}

TEST_F(ExtendedTest, ShapesAndClasses) {
  const struct {
    const char* operation;
    vlClassID classId;
    Dims input, output;
  } rows[] = {
      {"computeTT2000", vlDOUBLE_CLASS, {9, 3}, {1, 3}},
      {"computeTT2000", vlDOUBLE_CLASS, {3, 6, 2}, {1, 4}},
      {"computeTT2000", vlDOUBLE_CLASS, {0, 0}, {1, 0}},
      {"tt2000Breakdown", vlINT64_CLASS, {2, 3}, {9, 6}},
      {"tt2000Breakdown", vlINT64_CLASS, {0, 0}, {9, 0}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(dimsOf(call(row.operation, newArray(row.classId, row.input)).at(0)), row.output);
  }
  const Raised badLength =
      vorlan("computeTT2000:badLength",
             "The number of elements for the input argument should be a multiple of nine.");
  const Raised notDouble =
      vorlan("computeTT2000:badDatatype", "The input argument must be double precision.");
  const Raised notInt64 =
      vorlan("tt2000Breakdown:badDatatype", "The input argument must be int64.");
  const struct {
    const char* operation;
    vlClassID classId;
    Dims input;
    Raised raised;
  } refusals[] = {
      {"computeTT2000", vlDOUBLE_CLASS, {1, 8}, badLength},
      {"computeTT2000", vlINT64_CLASS, {1, 10}, badLength},
      {"computeTT2000", vlINT64_CLASS, {1, 9}, notDouble},
      {"computeTT2000", vlCELL_CLASS, {1, 9}, notDouble},
      {"tt2000Breakdown", vlDOUBLE_CLASS, {1, 1}, notInt64},
      {"tt2000Breakdown", vlUINT64_CLASS, {1, 1}, notInt64},
      {"tt2000Breakdown", vlCELL_CLASS, {0, 0}, notInt64},
  };
  for (const auto& row : refusals) {
    EXPECT_EQ(raised(row.operation, newArray(row.classId, row.input)), row.raised) << row.operation;
  }
}

// With the exact plug-in the library frees the file in the read.
TEST_F(ExtendedTest, ReadOnlyModeKeepsTheAttributes) {
  File file = create("a");
  call("createAttr", file, "a", 1.0);
  createVar(file, "x", 4);
  close(file);
  file = open("a");
  call("getAttrScope", file, 0.0);
  call("setReadOnlyMode", file, -1.0);
  EXPECT_EQ(shown(call("getVarData", file, 0.0, 8.0, List{}).at(0)), "int32 1x1: -2147483647");
  close(file);
}

TEST_F(ExtendedTest, SparseRecordsWhoseBlockEndsBeyond32Bits) {
  const File file = create("a");
  createVar(file, "x", 4);
  call("setVarSparseRecords", file, 0.0, 1.0);
  const Array value = row<std::int32_t>({7});
  const double far = 2147483000;
  EXPECT_EQ(raised("putVarData", file, 0.0, far, List{}, value.get()),
            failureOf("putVarData", -2009));
  EXPECT_EQ(raised("putVarRecordData", file, 0.0, far, value.get()),
            failureOf("putVarRecordData", -2009));
  EXPECT_EQ(
      raised("hyperPutVarData", file, 0.0, far, 1.0, 1.0, List{}, List{}, List{}, value.get()),
      failureOf("hyperPutVarData", -2009));
  call("setVarBlockingFactor", file, 0.0, 5.0);
  call("putVarData", file, 0.0, far, List{}, value.get());
  EXPECT_EQ(shown(call("getVarData", file, 0.0, far, List{}).at(0)), "int32 1x1: 7");
  close(file);
}

// Both in one process, each with files of its own and the same CDF library.
TEST_F(ExtendedTest, TheExactPlugInBesideIt) {
  vlhost::Plugin exact(EXACT_GATEWAY);
  const auto refusal = [&exact](const char* operation, const Input& input) -> std::string {
    const Array name = vlhost::text(operation);
    try {
      exact.call({name.get(), input.array}, 1);
    } catch (const vlhost::Error& error) {
      return error.identifier();
    }
    return {};
  };
  const File file = create("a");
  EXPECT_EQ(refusal("inquire", file), "VORLAN:tarvik:unpackCDFId:invalidFileId");
  EXPECT_EQ(refusal("computeTT2000", List(9)), "VORLAN:tarvik:invalidOperation");
  EXPECT_TRUE(exact.unload().empty());
  close(file);
}

}  // namespace
