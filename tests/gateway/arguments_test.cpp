// Identifiers, numbers and texts as arguments, seen through real operations.
#include <cmath>
#include <limits>

#include "tests/gateway/samples.h"

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

Raised of(const std::string& identifier, const std::string& message) {
  return {"VORLAN:tarvik:" + identifier, message};
}

const Raised nul = of("unpackString:containsNul", "Text argument must not contain NUL characters.");

TEST_F(ArgumentsTest, WrongClassesAreNamed) {
  const struct {
    vlClassID right;
    const char* operation;
    Inputs before, after;
    const char* identifier;
    std::string message;  ///< With the name of the class and a full stop behind it.
  } rows[] = {
      {vlUINT64_CLASS, "inquire", {}, {}, "unpackCDFId:idNotUint64Scalar", ""},
      {vlUINT64_CLASS, "getVarName", {}, {"no number"}, "unpackCDFId:idNotUint64Scalar", ""},
      {vlDOUBLE_CLASS,
       "setValidate",
       {},
       {},
       "unpackLongScalar:argumentNotDoubleScalar",
       "Scalar argument must be double precision instead of "},
      {vlDOUBLE_CLASS,
       "createVar",
       {file_, "x", 4.0, 1.0},
       {-1.0, List{}},
       "unpackVector:argumentNotDouble",
       "Vector argument must be double precision instead of "},
      {vlCHAR_CLASS,
       "open",
       {},
       {},
       "unpackString:argumentNotChar",
       "Text argument must be a character array instead of "},
      {vlCHAR_CLASS,
       "getVarNum",
       {file_},
       {},
       "unpackString:argumentNotChar",
       "Text argument must be a character array instead of "},
  };
  for (const auto& row : rows) {
    for (const vlClassID id : allClasses) {
      if (id == row.right) continue;
      const Array wrong = oneOf(id);
      Inputs inputs = row.before;
      inputs.emplace_back(wrong.get());
      inputs.insert(inputs.end(), row.after.begin(), row.after.end());
      EXPECT_EQ(raisedWith(row.operation, inputs),
                of(row.identifier, row.message.empty()
                                       ? "The CDF ID argument must be a scalar uint64 value."
                                       : row.message + vlGetClassName(wrong.get()) + "."));
    }
  }
}

TEST_F(ArgumentsTest, CountsIdentifiersAndTextsAreChecked) {
  const Raised count = of("unpackCDFId:wrongNumberOfElements",
                          "The CDF file ID argument can only have one element.");
  const Raised invalid = of("unpackCDFId:invalidFileId", "The CDF file ID argument is invalid.");
  const auto length = [](const char* given) {
    return of("unpackLongScalar:wrongNumberOfElements",
              std::string("Expecting a scalar argument, but got an argument with length ") + given +
                  " instead.");
  };
  const std::uint64_t handle = file_.handle;
  const std::string nulInside("a\0b", 3);
  expectRefused({
      {"inquire", {row<std::uint64_t>({})}, count},
      {"inquire", {row<std::uint64_t>({handle, handle})}, count},
      {"inquire", {File{0}}, invalid},
      {"inquire", {File{~std::uint64_t{0}}}, invalid},
      {"getVarName", {File{handle + 1}, "no number"}, invalid},  // before any other argument
      {"setValidate", {List{}}, length("0")},
      {"setValidate", {List{-1, -1, -1}}, length("3")},
      {"setValidate",  // The class comes before the count.
       {row<float>({1, 2})},
       of("unpackLongScalar:argumentNotDoubleScalar",
          "Scalar argument must be double precision instead of single.")},
      {"create", {path("b") + nulInside}, nul},
      {"createVar", {file_, nulInside, 4.0, 1.0, List{}, -1.0, List{}}, nul},
      // An element with a low byte of 0 would be a NUL too.
      {"getVarNum", {file_, chars({1, 2}, u"a\x0100")}, nul},
  });
  EXPECT_EQ(call("inquire", numbers<std::uint64_t>({1, 1, 1}, {handle})).size(), 5U);
  // A matrix of characters is read in storage order.
  createVar(file_, "abcd", 4);
  EXPECT_EQ(numberOf(call("getVarNum", file_, chars({2, 2}, u"abcd")).at(0)), 0);
}

TEST_F(ArgumentsTest, NumbersAreTruncatedWithinTheirBounds) {
  const auto scalar = [this](double value) { return raised("setValidate", value); };
  const auto element = [this](double value) {
    return raised("computeEpoch", List{2000, 1, 1, 0, 0, 0, value});
  };
  const std::pair<double, const char*> taken[] = {
      {3.7, "3"},
      {-3.7, "-3"},
      {2147483647.9, "2147483647"},
      {-2147483648.9, "-2147483648"},
      {std::nan(""), "-2147483648"},
      {-std::nan(""), "-2147483648"},
  };
  for (const auto& [given, seen] : taken) {
    EXPECT_EQ(scalar(given), of("setValidate:illegalModeValue",
                                std::string(seen) + " is not a legal validation mode."));
    EXPECT_EQ(element(given), Raised{});
  }
  const std::pair<double, std::string> refused[] = {
      {2147483648.0, "2.14748e+09"},
      {-2147483649.0, "-2.14748e+09"},
      {4294967296.0, "4.29497e+09"},
      {1e300, "1e+300"},
      {infinity, "inf"},
      {-infinity, "-inf"},
  };
  for (const auto& [given, seen] : refused) {
    EXPECT_EQ(scalar(given), of("unpackLongScalar:outOfRange",
                                "Scalar input argument " + seen + " is out of range."));
    const Raised vector =
        of("unpackVector:outOfRange", "Vector element " + seen + " is out of range.");
    EXPECT_EQ(element(given), vector);
    // The first of several is reported.
    EXPECT_EQ(raised("createVar", file_, "x", 4.0, 1.0, List{1, given, 5e10}, -1.0, List{}),
              vector);
  }
  // Both zeros of a fraction are a mode.
  for (const auto& [mode, name] :
       {std::pair(0.9, "off"), std::pair(-1.5, "on"), std::pair(-0.5, "off")}) {
    EXPECT_EQ(scalar(mode), Raised{});
    EXPECT_EQ(textOf(call("getValidate").at(0)), std::string("VALIDATEFILE") + name);
  }
}

TEST_F(ArgumentsTest, VectorsAreOfAnyShape) {
  const std::pair<Input, List> rows[] = {
      {List{2.9, 3.2}, {2, 3}},
      {numbers<double>({2, 1}, {4, 5}), {4, 5}},
      {numbers<double>({2, 3}, {2, 3, 4, 5, 6, 7}), {2, 3, 4, 5, 6, 7}},
      {numbers<double>({0, 0}, {}), {}},
  };
  double number = 0;
  for (const auto& [given, extents] : rows) {
    call("createVar", file_, std::to_string(number), 4.0, 1.0, given, -1.0,
         List(extents.size(), -1.0));
    EXPECT_EQ(valuesOf<double>(call("inquireVar", file_, number++).at(3)), extents);
  }
}

}  // namespace
