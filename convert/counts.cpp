#include "convert/counts.h"

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
