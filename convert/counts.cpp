#include "convert/counts.h"

#include <algorithm>
#include <string>

#include "host/array.h"

namespace tarvik {

namespace {

[[noreturn]] void raiseBadCount(const char* operation) {
  const std::string identifier = std::string("VORLAN:tarvik:") + operation + ":badCount";
  vlErrMsgIdAndTxt(identifier.c_str(),
                   "The requested counts do not describe a valid number of elements.");
}

}  // namespace

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
  const auto isNegative = [](long dim) { return dim < 0; };
  if (std::any_of(dims.begin(), dims.end(), isNegative)) {
    raiseBadCount(operation);
  }
  elementCount(operation, dims);
  return {dims.begin(), dims.end()};
}

}  // namespace tarvik
