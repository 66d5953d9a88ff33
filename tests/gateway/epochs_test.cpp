// Calendar components to epochs and back.
#include "cdf/functions.h"
#include "tests/gateway/gateway_test.h"

namespace {

using EpochsTest = GatewayTest;
using Numbers = std::vector<double>;

Array zeros(const Dims& dims) {
  return Array(vlCreateNumericArray(dims.size(), dims.data(), vlDOUBLE_CLASS, vlREAL));
}

TEST_F(EpochsTest, ShapesFollowTheInput) {
  const struct {
    const char* operation;
    Dims input;
    Dims output;
  } rows[] = {
      {"computeEpoch", {7, 3}, {1, 3}},      {"computeEpoch", {1, 14}, {1, 2}},
      {"computeEpoch", {2, 7, 2}, {1, 4}},   {"computeEpoch", {0, 0}, {1, 0}},
      {"epochBreakdown", {2, 2}, {7, 4}},    {"epochBreakdown", {1, 1}, {7, 1}},
      {"epochBreakdown", {0, 0}, {7, 0}},    {"epoch16Breakdown", {2, 1}, {10, 1}},
      {"epoch16Breakdown", {2, 5}, {10, 5}}, {"epoch16Breakdown", {2, 3, 4}, {10, 3, 4}},
      {"epoch16Breakdown", {2, 0}, {10, 0}}, {"epoch16Breakdown", {1, 6}, {10, 3}},
      {"epoch16Breakdown", {4, 1}, {10, 2}}, {"epoch16Breakdown", {3, 2, 2}, {10, 6}},
      {"epoch16Breakdown", {0, 0}, {10, 0}},
  };
  for (const auto& row : rows) {
    const Array output = std::move(call(row.operation, zeros(row.input)).at(0));
    EXPECT_EQ(dimsOf(output), row.output) << row.operation << " " << shown(zeros(row.input));
    EXPECT_EQ(vlGetClassID(output.get()), vlDOUBLE_CLASS);
  }
  const Array components = numbers<double>({10, 1}, {2000, 1, 1, 0, 0, 0, 0, 0, 0, 0});
  EXPECT_EQ(dimsOf(call("computeEpoch16", components.get()).at(0)), (Dims{2, 1}));
  EXPECT_EQ(dimsOf(call("computeEpoch16", zeros({0, 0})).at(0)), (Dims{2, 0}));
}

struct KnownDate {
  Numbers components;
  Numbers epoch;
};

TEST_F(EpochsTest, KnownDates) {
  const KnownDate rows[] = {
      {{0, 1, 1, 0, 0, 0, 0}, {0}},
      {{1970, 1, 1, 0, 0, 0, 0}, {62167219200000}},
      {{1970, 1, 2, 0, 0, 0, 1}, {62167305600001}},
      {{2000, 2, 29, 23, 59, 59, 999}, {63119087999999}},
      {{2000, 3, 1, 0, 0, 0, 0}, {63119088000000}},
  };
  for (const KnownDate& row : rows) {
    EXPECT_EQ(valuesOf<double>(call("computeEpoch", row.components).at(0)), row.epoch);
    EXPECT_EQ(valuesOf<double>(call("epochBreakdown", row.epoch).at(0)), row.components);
  }
  const KnownDate rows16[] = {
      {{1970, 1, 1, 0, 0, 0, 0, 0, 0, 0}, {62167219200, 0}},
      {{1970, 1, 1, 0, 1, 0, 1, 2, 3, 4}, {62167219260, 1002003004}},
      {{2000, 2, 29, 23, 59, 59, 999, 999, 999, 999}, {63119087999, 999999999999}},
  };
  for (const KnownDate& row : rows16) {
    EXPECT_EQ(valuesOf<double>(call("computeEpoch16", row.components).at(0)), row.epoch);
    EXPECT_EQ(valuesOf<double>(call("epoch16Breakdown", row.epoch).at(0)), row.components);
  }
}

// Components out of their ranges among them: what the library makes of these is passed on.
TEST_F(EpochsTest, ArraysAreTheLibrarysValuesOneByOne) {
  Numbers components;
  Numbers components16;
  Numbers epochs;
  Numbers epochs16;
  for (long i = 0; i < 300; ++i) {
    const long c[] = {1 + i * 33,  i % 12 + 1,   i * 7 % 400 - 9, i * 5 % 24, i * 11 % 60,
                      i * 13 % 60, i * 37 % 999, i * 17 % 999,    i,          999 - i};
    components.insert(components.end(), c, c + 7);
    components16.insert(components16.end(), c, c + 10);
    epochs.push_back(computeEPOCH(c[0], c[1], c[2], c[3], c[4], c[5], c[6]));
    double pair[2];
    computeEPOCH16(c[0], c[1], c[2], c[3], c[4], c[5], c[6], c[7], c[8], c[9], pair);
    epochs16.insert(epochs16.end(), pair, pair + 2);
  }
  EXPECT_EQ(valuesOf<double>(call("computeEpoch", components).at(0)), epochs);
  EXPECT_EQ(valuesOf<double>(call("computeEpoch16", components16).at(0)), epochs16);

  Numbers parts;
  Numbers parts16;
  for (std::size_t i = 0; i < epochs.size(); ++i) {
    long c[10];
    EPOCHbreakdown(epochs[i], c, c + 1, c + 2, c + 3, c + 4, c + 5, c + 6);
    parts.insert(parts.end(), c, c + 7);
    double pair[] = {epochs16[2 * i], epochs16[2 * i + 1]};
    EPOCH16breakdown(pair, c, c + 1, c + 2, c + 3, c + 4, c + 5, c + 6, c + 7, c + 8, c + 9);
    parts16.insert(parts16.end(), c, c + 10);
  }
  EXPECT_EQ(valuesOf<double>(call("epochBreakdown", epochs).at(0)), parts);
  EXPECT_EQ(valuesOf<double>(call("epoch16Breakdown", epochs16).at(0)), parts16);
}

TEST_F(EpochsTest, ComponentsAreTruncatedTowardZero) {
  EXPECT_EQ(shown(call("computeEpoch", List{2000.9, 2.9, -2.9, 3.1, 4.9, 5.5, 6.9}).at(0)),
            shown(call("computeEpoch", List{2000, 2, -2, 3, 4, 5, 6}).at(0)));
  EXPECT_EQ(shown(call("computeEpoch16", List{0.9, 2.9, -2.9, 3.1, 4, 5, 6, 7.9, 8, 9.9}).at(0)),
            shown(call("computeEpoch16", List{0, 2, -2, 3, 4, 5, 6, 7, 8, 9}).at(0)));
}

TEST_F(EpochsTest, IllegalTimes) {
  EXPECT_EQ(shown(call("computeEpoch", List{-1, 1, 1, 0, 0, 0, 0, 1970, 1, 1, 0, 0, 0, 0}).at(0)),
            "double 1x2: -1 62167219200000");
  EXPECT_EQ(raised("computeEpoch16", List{-1, 1, 1, 0, 0, 0, 0, 0, 0, 0}),
            (Raised{"VORLAN:tarvik:computeEpoch16:illegalEpochValue",
                    "The input argument was not valid."}));
}

TEST_F(EpochsTest, LengthIsCheckedBeforeClass) {
  const struct {
    const char* operation;
    std::size_t good;
    std::size_t bad;
    const char* badLength;
  } rows[] = {
      {"computeEpoch", 7, 8,
       "The number of elements for the input argument should be a multiple of seven."},
      {"computeEpoch16", 10, 9,
       "The number of elements for the input argument must be a multiple of ten."},
      {"epochBreakdown", 3, 0, nullptr},
      {"epoch16Breakdown", 2, 3, "The number of elements should be multiple of two."},
  };
  for (const auto& row : rows) {
    const std::string prefix = std::string("VORLAN:tarvik:") + row.operation;
    const Raised badDatatype{prefix + ":badDatatype",
                             "The input argument must be double precision."};
    for (const vlClassID classId : {vlINT32_CLASS, vlCHAR_CLASS, vlSINGLE_CLASS}) {
      EXPECT_EQ(raised(row.operation, patterned(classId, {1, row.good})), badDatatype);
      if (row.badLength != nullptr) {
        EXPECT_EQ(raised(row.operation, patterned(classId, {1, row.bad})),
                  (Raised{prefix + ":badLength", row.badLength}));
      }
    }
    if (row.badLength != nullptr) {
      EXPECT_EQ(raised(row.operation, zeros({row.bad, 1})),
                (Raised{prefix + ":badLength", row.badLength}));
    }
  }
}

TEST_F(EpochsTest, ComponentsOutOfRange) {
  const Raised outOfRange{"VORLAN:tarvik:unpackVector:outOfRange",
                          "Vector element 5e+10 is out of range."};
  EXPECT_EQ(raised("computeEpoch", List{1, 1, 1, 1, 1, 1, 5e10}), outOfRange);
  EXPECT_EQ(raised("computeEpoch16", List{1, 1, 1, 1, 1, 1, 1, 1, 1, 5e10}), outOfRange);
}

}  // namespace
