#include "convert/numbers.h"

#include <algorithm>
#include <boost/mpl/integral_c.hpp>
#include <boost/numeric/conversion/converter.hpp>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include "host/plugin.h"

namespace tarvik {

namespace {

/// The rounding of a conversion that truncates by itself; Boost's own calls a function of the
/// mathematical library for every value first.
struct Truncated {
  using source_type = double;
  using argument_type = double;
  using round_style = boost::mpl::integral_c<std::float_round_style, std::round_toward_zero>;
  static double nearbyint(double value) { return value; }
};

using ToInt32 = boost::numeric::converter<std::int32_t, double,
                                          boost::numeric::conversion_traits<std::int32_t, double>,
                                          boost::numeric::def_overflow_handler, Truncated>;

/// Raises an error for a value outside 32 bits. A NaN passes the range comparisons of the
/// conversion, which would be undefined.
long toLong(double value, const char* identifier, const char* message) {
  try {
    return std::isnan(value) ? std::numeric_limits<std::int32_t>::min() : ToInt32::convert(value);
  } catch (const boost::numeric::bad_numeric_cast&) {
  }
  vlErrMsgIdAndTxt(identifier, message, value);
}

[[noreturn]] void raiseBadCount(const char* operation) {
  const std::string identifier = std::string("VORLAN:tarvik:") + operation + ":badCount";
  vlErrMsgIdAndTxt(identifier.c_str(),
                   "The requested counts do not describe a valid number of elements.");
}

}  // namespace

long unpackLongScalar(const vlArray* argument) {
  if (vlGetClassID(argument) != vlDOUBLE_CLASS) {
    vlpErrMsgIdAndTxt("VORLAN:tarvik:unpackLongScalar:argumentNotDoubleScalar",
                      "Scalar argument must be double precision instead of %s.",
                      vlGetClassName(argument));
  }
  const std::size_t count = vlGetNumberOfElements(argument);
  if (count != 1) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:unpackLongScalar:wrongNumberOfElements",
                     "Expecting a scalar argument, but got an argument with length %u instead.",
                     static_cast<unsigned>(count));
  }
  return toLong(*static_cast<const double*>(vlGetData(argument)),
                "VORLAN:tarvik:unpackLongScalar:outOfRange",
                "Scalar input argument %g is out of range.");
}

Longs unpackVector(const vlArray* argument) {
  if (vlGetClassID(argument) != vlDOUBLE_CLASS) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:unpackVector:argumentNotDouble",
                     "Vector argument must be double precision instead of %s.",
                     vlGetClassName(argument));
  }
  Longs values(vlGetNumberOfElements(argument), boost::container::default_init);
  const auto* elements = static_cast<const double*>(vlGetData(argument));
  std::transform(elements, elements + values.size(), values.begin(), [](double element) {
    return toLong(element, "VORLAN:tarvik:unpackVector:outOfRange",
                  "Vector element %g is out of range.");
  });
  return values;
}

void setLong(vlArray* scalar, long value) {
  *static_cast<double*>(vlGetData(scalar)) = static_cast<double>(value);
}

vlArray* packUpLong(long value) {
  return vlCreateDoubleScalar(static_cast<double>(value));
}

long elementCount(const char* operation, const Longs& factors) {
  long result = 1;
  for (const long factor : factors) {
    if (__builtin_mul_overflow(result, factor, &result)) {
      raiseBadCount(operation);
    }
  }
  return result;
}

Sizes arrayDimensions(const char* operation, const Longs& dims) {
  Sizes sizes;
  long count = 1;
  for (const long dim : dims) {
    if (dim < 0 || __builtin_mul_overflow(count, dim, &count)) {
      raiseBadCount(operation);
    }
    sizes.push_back(static_cast<std::size_t>(dim));
  }
  return sizes;
}

}  // namespace tarvik
