// What needs no file: calendar components to epochs and back, and the named constants.
#include <cctype>

#include "cdf/functions.h"
#include "tests/gateway/gateway_test.h"

namespace {

using EpochsTest = GatewayTest;

TEST_F(EpochsTest, ShapesFollowTheInput) {
  const struct {
    const char* operation;
    Dims input;
    Dims output;
  } rows[] = {
      {"computeEpoch", {7, 3}, {1, 3}},      {"computeEpoch", {1, 14}, {1, 2}},
      {"computeEpoch", {2, 7, 2}, {1, 4}},   {"computeEpoch", {0, 0}, {1, 0}},
      {"computeEpoch16", {0, 0}, {2, 0}},    {"epochBreakdown", {2, 2}, {7, 4}},
      {"epochBreakdown", {0, 0}, {7, 0}},    {"epoch16Breakdown", {2, 1}, {10, 1}},
      {"epoch16Breakdown", {2, 5}, {10, 5}}, {"epoch16Breakdown", {2, 3, 4}, {10, 3, 4}},
      {"epoch16Breakdown", {2, 0}, {10, 0}}, {"epoch16Breakdown", {1, 6}, {10, 3}},
      {"epoch16Breakdown", {4, 1}, {10, 2}}, {"epoch16Breakdown", {3, 2, 2}, {10, 6}},
      {"epoch16Breakdown", {0, 0}, {10, 0}},
  };
  for (const auto& row : rows) {
    const Array zeros = newArray(vlDOUBLE_CLASS, row.input);
    EXPECT_EQ(dimsOf(call(row.operation, zeros.get()).at(0)), row.output)
        << row.operation << " " << shown(zeros);
  }
}

TEST_F(EpochsTest, KnownDates) {
  const struct {
    List components;
    List epoch;
  } rows[] = {
      {{0, 1, 1, 0, 0, 0, 0}, {0}},
      {{1970, 1, 2, 0, 0, 0, 1}, {62167305600001}},
      {{2000, 2, 29, 23, 59, 59, 999}, {63119087999999}},
      {{1970, 1, 1, 0, 1, 0, 1, 2, 3, 4}, {62167219260, 1002003004}},
      {{2000, 2, 29, 23, 59, 59, 999, 999, 999, 999}, {63119087999, 999999999999}},
  };
  for (const auto& row : rows) {
    const bool pair = row.epoch.size() == 2;
    const auto output = call(pair ? "computeEpoch16" : "computeEpoch", row.components);
    EXPECT_EQ(valuesOf<double>(output.at(0)), row.epoch);
    EXPECT_EQ(dimsOf(output.at(0)), (Dims{row.epoch.size(), 1}));
    const auto back = call(pair ? "epoch16Breakdown" : "epochBreakdown", row.epoch);
    EXPECT_EQ(valuesOf<double>(back.at(0)), row.components);
  }
}

// Components out of their ranges among them: what the library makes of these is passed on.
TEST_F(EpochsTest, ArraysAreTheLibrarysValuesOneByOne) {
  List components, components16, epochs, epochs16, parts, parts16;
  for (long i = 0; i < 300; ++i) {
    long c[] = {1 + i * 33,  i % 12 + 1,   i * 7 % 400 - 9, i * 5 % 24, i * 11 % 60,
                i * 13 % 60, i * 37 % 999, i * 17 % 999,    i,          999 - i};
    components.insert(components.end(), c, c + 7);
    components16.insert(components16.end(), c, c + 10);
    epochs.push_back(computeEPOCH(c[0], c[1], c[2], c[3], c[4], c[5], c[6]));
    double pair[2];
    computeEPOCH16(c[0], c[1], c[2], c[3], c[4], c[5], c[6], c[7], c[8], c[9], pair);
    epochs16.insert(epochs16.end(), pair, pair + 2);
    EPOCHbreakdown(epochs.back(), c, c + 1, c + 2, c + 3, c + 4, c + 5, c + 6);
    parts.insert(parts.end(), c, c + 7);
    EPOCH16breakdown(pair, c, c + 1, c + 2, c + 3, c + 4, c + 5, c + 6, c + 7, c + 8, c + 9);
    parts16.insert(parts16.end(), c, c + 10);
  }
  EXPECT_EQ(valuesOf<double>(call("computeEpoch", components).at(0)), epochs);
  EXPECT_EQ(valuesOf<double>(call("computeEpoch16", components16).at(0)), epochs16);
  EXPECT_EQ(valuesOf<double>(call("epochBreakdown", epochs).at(0)), parts);
  EXPECT_EQ(valuesOf<double>(call("epoch16Breakdown", epochs16).at(0)), parts16);
}

TEST_F(EpochsTest, ComponentsAreTruncatedTowardZero) {
  EXPECT_EQ(shown(call("computeEpoch", List{2000.9, 2.9, -2.9, 3.1, 4.9, 5.5, 6.9}).at(0)),
            shown(call("computeEpoch", List{2000, 2, -2, 3, 4, 5, 6}).at(0)));
  EXPECT_EQ(shown(call("computeEpoch16", List{0.9, 2.9, -2.9, 3.1, 4, 5, 6, 7.9, 8, 9.9}).at(0)),
            shown(call("computeEpoch16", List{0, 2, -2, 3, 4, 5, 6, 7, 8, 9}).at(0)));
}

TEST_F(EpochsTest, LengthIsCheckedBeforeClass) {
  const struct {
    const char* operation;
    std::size_t good;
    std::size_t bad;
    std::string badLength;
  } rows[] = {
      {"computeEpoch", 7, 8,
       "The number of elements for the input argument should be a multiple of seven."},
      {"computeEpoch16", 10, 9,
       "The number of elements for the input argument must be a multiple of ten."},
      {"epochBreakdown", 3, 0, ""},
      {"epoch16Breakdown", 2, 3, "The number of elements should be multiple of two."},
  };
  for (const auto& row : rows) {
    const std::string prefix = std::string("VORLAN:tarvik:") + row.operation;
    for (const vlClassID classId : {vlINT32_CLASS, vlCHAR_CLASS, vlDOUBLE_CLASS}) {
      if (!row.badLength.empty()) {
        EXPECT_EQ(raised(row.operation, newArray(classId, {1, row.bad})),
                  (Raised{prefix + ":badLength", row.badLength}));
      }
      if (classId == vlDOUBLE_CLASS) continue;
      EXPECT_EQ(raised(row.operation, newArray(classId, {1, row.good})),
                (Raised{prefix + ":badDatatype", "The input argument must be double precision."}));
    }
  }
}

TEST_F(EpochsTest, IllegalTimesAndComponentsOutOfRange) {
  EXPECT_EQ(shown(call("computeEpoch", List{-1, 1, 1, 0, 0, 0, 0, 1970, 1, 1, 0, 0, 0, 0}).at(0)),
            "double 1x2: -1 62167219200000");
  const Raised outOfRange{"VORLAN:tarvik:unpackVector:outOfRange",
                          "Vector element 5e+10 is out of range."};
  expectRefused(
      {{"computeEpoch16",
        {List{-1, 1, 1, 0, 0, 0, 0, 0, 0, 0}},
        {"VORLAN:tarvik:computeEpoch16:illegalEpochValue", "The input argument was not valid."}},
       {"computeEpoch", {List{1, 1, 1, 1, 1, 1, 5e10}}, outOfRange},
       {"computeEpoch16", {List{1, 1, 1, 1, 1, 1, 1, 1, 1, 5e10}}, outOfRange}});
}

using ConstantsTest = GatewayTest;

/// In the order in which they are listed.
// clang-format off
const std::pair<std::string, double> constants[] = {
    {"AHUFF_COMPRESSION", 3}, {"ALPHAOSF1_ENCODING", 13}, {"ALPHAVMSD_ENCODING", 14},
    {"ALPHAVMSG_ENCODING", 15}, {"ALPHAVMSI_ENCODING", 16}, {"CDF_BYTE", 41},
    {"CDF_CHAR", 51}, {"CDF_DOUBLE", 45}, {"CDF_EPOCH", 31},
    {"CDF_EPOCH16", 32}, {"CDF_FLOAT", 44}, {"CDF_INT1", 1},
    {"CDF_INT2", 2}, {"CDF_INT4", 4}, {"CDF_REAL4", 21},
    {"CDF_REAL8", 22}, {"CDF_UCHAR", 52}, {"CDF_UINT1", 11},
    {"CDF_UINT2", 12}, {"CDF_UINT4", 14}, {"COLUMN_MAJOR", 2},
    {"DECSTATION_ENCODING", 4}, {"GLOBAL_SCOPE", 1}, {"GZIP_COMPRESSION", 5},
    {"HOST_ENCODING", 8}, {"HP_ENCODING", 11}, {"HUFF_COMPRESSION", 2},
    {"IBMPC_ENCODING", 6}, {"IBMRS_ENCODING", 7}, {"MAC_ENCODING", 9},
    {"MD5_CHECKSUM", 1}, {"MULTI_FILE", 2}, {"NETWORK_ENCODING", 1},
    {"NEXT_ENCODING", 12}, {"NOVARY", 0}, {"NO_CHECKSUM", 0},
    {"NO_COMPRESSION", 0}, {"NO_SPARSERECORDS", 0}, {"OPTIMAL_ENCODING_TREES", 0},
    {"OTHER_CHECKSUM", 2}, {"PAD_SPARSERECORDS", 1}, {"PREV_SPARSERECORDS", 2},
    {"READONLYOFF", 0}, {"READONLYON", -1}, {"RLE_COMPRESSION", 1},
    {"RLE_OF_ZEROS", 0}, {"ROW_MAJOR", 1}, {"SGI_ENCODING", 5},
    {"SINGLE_FILE", 1}, {"SUN_ENCODING", 2}, {"VALIDATEFILEOFF", 0},
    {"VALIDATEFILEON", -1}, {"VARIABLE_SCOPE", 2}, {"VARY", -1},
    {"VAX_ENCODING", 3},
};
// clang-format on

TEST_F(ConstantsTest, AreListedInOrderAndFoundInAnyCase) {
  const Array names = std::move(call("getConstantNames").at(0));
  ASSERT_EQ(dimsOf(names), (Dims{std::size(constants), 1}));
  std::size_t place = 0;
  for (const auto& [name, value] : constants) {
    EXPECT_EQ(shown(vlhost::cellValue(names.get(), place++)),
              "char 1x" + std::to_string(name.size()) + ": " + name);
    std::string mixed = name;
    for (std::size_t i = 0; i < name.size(); i += 2) {
      mixed[i] = static_cast<char>(std::tolower(mixed[i]));
    }
    for (const std::string& asked : {name, mixed}) {
      EXPECT_EQ(numberOf(call("getConstantValue", asked).at(0)), value) << asked;
    }
  }
}

TEST_F(ConstantsTest, OtherNamesAreRefused) {
  const std::pair<std::string, std::string> rows[] = {
      {"cdf_int3", "CDF_INT3"}, {"", ""}, {" VARY", " VARY"}, {"VARY ", "VARY "}, {"VAR", "VAR"}};
  for (const auto& [name, upper] : rows) {
    EXPECT_EQ(raised("getConstantValue", name),
              (Raised{"VORLAN:tarvik:getConstantValue:unrecognizedConstantName",
                      "\"" + upper +
                          "\" is not a string corresponding to any known CDF constant value."}));
  }
  for (const vlClassID classId : {vlDOUBLE_CLASS, vlCELL_CLASS}) {
    const Array input = oneOf(classId);
    EXPECT_EQ(
        raised("getConstantValue", input.get()),
        (Raised{"VORLAN:tarvik:getConstantValue:badInputDatatype",
                std::string("The input to getConstantValue should have class char instead of ") +
                    vlGetClassName(input.get()) + "."}));
  }
}

}  // namespace
