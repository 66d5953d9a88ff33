#include "convert/numbers.h"

#include <algorithm>
#include <boost/mpl/integral_c.hpp>
#include <boost/numeric/conversion/converter.hpp>
#include <cmath>
#include <cstdint>
#include <limits>

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

/// Throws boost::numeric::bad_numeric_cast for a value outside 32 bits. A NaN passes the range
/// comparisons there, and its conversion would be undefined.
long toLong(double value) {
  return std::isnan(value) ? std::numeric_limits<std::int32_t>::min() : ToInt32::convert(value);
}

long toLongOr(double value, const char* identifier, const char* message) {
  try {
    return toLong(value);
  } catch (const boost::numeric::bad_numeric_cast&) {
  }
  vlErrMsgIdAndTxt(identifier, message, value);
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
  return toLongOr(*static_cast<const double*>(vlGetData(argument)),
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
    return toLongOr(element, "VORLAN:tarvik:unpackVector:outOfRange",
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

}  // namespace tarvik
