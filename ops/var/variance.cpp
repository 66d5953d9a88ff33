#include "ops/var/variance.h"

#include <algorithm>

#include "cdf/library.h"
#include "host/plugin.h"

namespace tarvik::ops {

namespace {

long fromLogical(vlLogical value) {
  return value == 1 ? VARY : NOVARY;
}

long fromDouble(double value) {
  if (value != static_cast<double>(VARY) && value != static_cast<double>(NOVARY)) {
    vlpErrMsgIdAndTxt("VORLAN:tarvik:unpackVariance:illegalVariance",
                      "%f is an illegal variance value.", value);
  }
  return value == static_cast<double>(VARY) ? VARY : NOVARY;
}

vlLogical toLogical(long variance) {
  if (variance != VARY && variance != NOVARY) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:packUpVariance:failure", "Unhandled variance value, \"%d\".",
                     static_cast<int>(variance));
  }
  return variance == VARY ? 1 : 0;
}

}  // namespace

Longs unpackVariance(const vlArray* argument) {
  Longs variances(vlGetNumberOfElements(argument), NOVARY);
  const auto convert = [&variances](const auto* elements, auto conversion) {
    std::transform(elements, elements + variances.size(), variances.begin(), conversion);
  };
  switch (vlGetClassID(argument)) {
    case vlLOGICAL_CLASS:
      convert(vlGetLogicals(argument), fromLogical);
      break;
    case vlDOUBLE_CLASS:
      convert(static_cast<const double*>(vlGetData(argument)), fromDouble);
      break;
    default:
      vlpErrMsgIdAndTxt("VORLAN:tarvik:unpackVariance:wrongDatatype",
                        "A variance argument must be either logical or numeric.");
  }
  return variances;
}

vlArray* packUpVariance(const Longs& variances) {
  if (variances.empty()) {
    return vlCreateLogicalArray(0, nullptr);
  }
  const std::size_t dims[] = {1, variances.size()};
  vlArray* result = vlCreateLogicalArray(2, dims);
  std::transform(variances.begin(), variances.end(), vlGetLogicals(result), toLogical);
  return result;
}

}  // namespace tarvik::ops
