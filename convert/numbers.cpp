#include "convert/numbers.h"

#include <boost/numeric/conversion/cast.hpp>
#include <cmath>
#include <cstdint>
#include <limits>

#include "host/plugin.h"

namespace tarvik {

namespace {

/// Throws boost::numeric::bad_numeric_cast for a value outside 32 bits. A NaN passes the range
/// comparisons there, and its conversion would be undefined.
long toLong(double value) {
  return std::isnan(value) ? std::numeric_limits<std::int32_t>::min()
                           : boost::numeric_cast<std::int32_t>(value);
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

std::vector<long> unpackVector(const vlArray* argument) {
  if (vlGetClassID(argument) != vlDOUBLE_CLASS) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:unpackVector:argumentNotDouble",
                     "Vector argument must be double precision instead of %s.",
                     vlGetClassName(argument));
  }
  std::vector<long> values(vlGetNumberOfElements(argument));
  const auto* element = static_cast<const double*>(vlGetData(argument));
  for (long& value : values) {
    value = toLongOr(*element++, "VORLAN:tarvik:unpackVector:outOfRange",
                     "Vector element %g is out of range.");
  }
  return values;
}

void setLong(vlArray* scalar, long value) {
  *static_cast<double*>(vlGetData(scalar)) = static_cast<double>(value);
}

vlArray* packUpLong(long value) {
  return vlCreateDoubleScalar(static_cast<double>(value));
}

}  // namespace tarvik
