// Identifiers, numbers and texts as arguments, seen through real operations.
#include <cmath>
#include <limits>

#include "tests/gateway/gateway_test.h"

namespace {

class ArgumentsTest : public GatewayTest {
 protected:
  void SetUp() override { file_ = create("a"); }
  void TearDown() override {
    close(file_);
    GatewayTest::TearDown();
  }

  File file_;
};

constexpr double infinity = std::numeric_limits<double>::infinity();

constexpr struct {
  vlClassID id;
  const char* name;
} classes[] = {
    {vlCELL_CLASS, "cell"},     {vlLOGICAL_CLASS, "logical"}, {vlCHAR_CLASS, "char"},
    {vlDOUBLE_CLASS, "double"}, {vlSINGLE_CLASS, "single"},   {vlINT8_CLASS, "int8"},
    {vlUINT8_CLASS, "uint8"},   {vlINT16_CLASS, "int16"},     {vlUINT16_CLASS, "uint16"},
    {vlINT32_CLASS, "int32"},   {vlUINT32_CLASS, "uint32"},   {vlINT64_CLASS, "int64"},
    {vlUINT64_CLASS, "uint64"},
};

TEST_F(ArgumentsTest, IdentifiersAreCheckedForClassCountAndRegistration) {
  const Raised notUint64 = {"VORLAN:tarvik:unpackCDFId:idNotUint64Scalar",
                            "The CDF ID argument must be a scalar uint64 value."};
  const Raised count = {"VORLAN:tarvik:unpackCDFId:wrongNumberOfElements",
                        "The CDF file ID argument can only have one element."};
  const Raised invalid = {"VORLAN:tarvik:unpackCDFId:invalidFileId",
                          "The CDF file ID argument is invalid."};
  for (const auto& row : classes) {
    EXPECT_EQ(raised("inquire", oneOf(row.id)), row.id == vlUINT64_CLASS ? invalid : notUint64);
  }
  const std::uint64_t handle = file_.handle;
  expectRefused({
      {"inquire", {static_cast<double>(handle)}, notUint64},
      {"inquire", {row<std::int64_t>({static_cast<std::int64_t>(handle)})}, notUint64},
      {"inquire", {List{}}, notUint64},
      {"inquire", {row<std::uint64_t>({})}, count},
      {"inquire", {row<std::uint64_t>({handle, handle})}, count},
      {"inquire", {File{handle + 1}}, invalid},
      {"inquire", {File{~std::uint64_t{0}}}, invalid},
      // It comes before any other argument.
      {"getVarName", {File{handle + 1}, "no number"}, invalid},
  });
  EXPECT_EQ(call("inquire", numbers<std::uint64_t>({1, 1, 1}, {handle})).size(), 5U);
}

TEST_F(ArgumentsTest, ScalarsAreTruncatedWithinTheirBounds) {
  const auto mode = [this](double value) { return raised("setValidate", value); };
  const struct {
    double given;
    const char* seen;
  } taken[] = {
      {3.7, "3"},
      {-3.7, "-3"},
      {1.0, "1"},
      {2147483647.0, "2147483647"},
      {2147483647.9, "2147483647"},
      {-2147483648.0, "-2147483648"},
      {-2147483648.9, "-2147483648"},
      {std::nan(""), "-2147483648"},
      {-std::nan(""), "-2147483648"},
  };
  for (const auto& row : taken) {
    const Raised expected = {"VORLAN:tarvik:setValidate:illegalModeValue",
                             std::string(row.seen) + " is not a legal validation mode."};
    EXPECT_EQ(mode(row.given), expected);
  }
  const struct {
    double given;
    const char* seen;
  } refused[] = {
      {2147483648.0, "2.14748e+09"},
      {-2147483649.0, "-2.14748e+09"},
      {4294967296.0, "4.29497e+09"},
      {1e300, "1e+300"},
      {infinity, "inf"},
      {-infinity, "-inf"},
  };
  for (const auto& row : refused) {
    const Raised expected = {
        "VORLAN:tarvik:unpackLongScalar:outOfRange",
        std::string("Scalar input argument ") + row.seen + " is out of range."};
    EXPECT_EQ(mode(row.given), expected);
  }
  // Both zeros of a fraction are a mode.
  for (const double value : {0.9, -0.5}) {
    call("setValidate", value);
    EXPECT_EQ(textOf(call("getValidate").at(0)), "VALIDATEFILEoff");
  }
  call("setValidate", -1.5);
  EXPECT_EQ(textOf(call("getValidate").at(0)), "VALIDATEFILEon");
}

TEST_F(ArgumentsTest, ScalarsAreOneDouble) {
  const std::string count = "VORLAN:tarvik:unpackLongScalar:wrongNumberOfElements";
  for (const auto& row : classes) {
    if (row.id != vlDOUBLE_CLASS) {
      const Raised expected = {
          "VORLAN:tarvik:unpackLongScalar:argumentNotDoubleScalar",
          std::string("Scalar argument must be double precision instead of ") + row.name + "."};
      EXPECT_EQ(raised("setValidate", oneOf(row.id)), expected);
      EXPECT_EQ(raised("getVarName", file_, oneOf(row.id)), expected);
    }
  }
  expectRefused({
      {"setValidate",
       {List{}},
       {count, "Expecting a scalar argument, but got an argument with length 0 instead."}},
      {"setValidate",
       {List{-1, -1, -1}},
       {count, "Expecting a scalar argument, but got an argument with length 3 instead."}},
      // The class comes before the count.
      {"setValidate",
       {row<float>({1, 2})},
       {"VORLAN:tarvik:unpackLongScalar:argumentNotDoubleScalar",
        "Scalar argument must be double precision instead of single."}},
  });
}

TEST_F(ArgumentsTest, VectorsAreListsOfDoublesOfAnyShape) {
  const auto extents = [this](const std::string& name, Input given) {
    const double number = numberOf(call("createVar", file_, name, 4.0, 1.0, given, -1.0,
                                        List(vlGetNumberOfElements(given.array), -1.0))
                                       .at(0));
    return valuesOf<double>(call("inquireVar", file_, number).at(3));
  };
  EXPECT_EQ(extents("fractions", List{2.9, 3.2}), (List{2, 3}));
  EXPECT_EQ(extents("column", numbers<double>({2, 1}, {4, 5})), (List{4, 5}));
  EXPECT_EQ(extents("matrix", numbers<double>({2, 3}, {2, 3, 4, 5, 6, 7})),
            (List{2, 3, 4, 5, 6, 7}));
  EXPECT_EQ(extents("none", numbers<double>({0, 0}, {})), List{});

  // Components of a time show how far numbers may go.
  List time = {2000, 1, 1, 0, 0, 0, 0};
  const auto epochOf = [&](double last) {
    time.back() = last;
    return raised("computeEpoch", time);
  };
  for (const double value : {2147483647.9, -2147483648.9, std::nan("")}) {
    EXPECT_EQ(epochOf(value), Raised{});
  }
  const struct {
    double given;
    const char* seen;
  } refused[] = {{2147483648.0, "2.14748e+09"},
                 {-2147483649.0, "-2.14748e+09"},
                 {infinity, "inf"},
                 {-infinity, "-inf"}};
  for (const auto& row : refused) {
    const Raised expected = {"VORLAN:tarvik:unpackVector:outOfRange",
                             std::string("Vector element ") + row.seen + " is out of range."};
    EXPECT_EQ(epochOf(row.given), expected);
  }
  const Raised first = {"VORLAN:tarvik:unpackVector:outOfRange",
                        "Vector element 5e+10 is out of range."};
  EXPECT_EQ(raised("createVar", file_, "x", 4.0, 1.0, List{1, 5e10, -5e10}, -1.0, List{}), first);
  for (const auto& row : classes) {
    if (row.id != vlDOUBLE_CLASS) {
      const Raised expected = {
          "VORLAN:tarvik:unpackVector:argumentNotDouble",
          std::string("Vector argument must be double precision instead of ") + row.name + "."};
      EXPECT_EQ(raised("createVar", file_, "x", 4.0, 1.0, oneOf(row.id), -1.0, List{}), expected);
    }
  }
}

TEST_F(ArgumentsTest, TextsAreCharactersWithoutNul) {
  const Raised nul = {"VORLAN:tarvik:unpackString:containsNul",
                      "Text argument must not contain NUL characters."};
  for (const auto& row : classes) {
    if (row.id == vlCHAR_CLASS) {
      EXPECT_EQ(raised("open", oneOf(row.id)), nul);
      continue;
    }
    const Raised expected = {
        "VORLAN:tarvik:unpackString:argumentNotChar",
        std::string("Text argument must be a character array instead of ") + row.name + "."};
    EXPECT_EQ(raised("open", oneOf(row.id)), expected);
    EXPECT_EQ(raised("create", oneOf(row.id)), expected);
    EXPECT_EQ(raised("getVarNum", file_, oneOf(row.id)), expected);
  }
  const std::string nulInside("a\0b", 3);
  expectRefused({
      {"create", {path("b") + nulInside}, nul},
      {"createVar", {file_, nulInside, 4.0, 1.0, List{}, -1.0, List{}}, nul},
      // An element with a low byte of 0 would be a NUL too.
      {"getVarNum", {file_, chars({1, 2}, u"a\x0100")}, nul},
  });
  // A matrix of characters is read in storage order.
  createVar(file_, "abcd", 4);
  EXPECT_EQ(numberOf(call("getVarNum", file_, chars({2, 2}, u"abcd")).at(0)), 0);
}

}  // namespace
