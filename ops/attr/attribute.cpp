#include "ops/attr/attribute.h"

#include "cdf/library.h"
#include "convert/code_names.h"
#include "convert/numbers.h"
#include "gateway/registry.h"
#include "gateway/status.h"

namespace tarvik::ops {

namespace {

constexpr CodeName scopes[] = {{GLOBAL_SCOPE, "GLOBAL_SCOPE"}, {VARIABLE_SCOPE, "VARIABLE_SCOPE"}};
constexpr UnknownCode unhandledScope{"VORLAN:tarvik:packUpScope:unhandledScope",
                                     "The scope value %d is not recognized."};

}  // namespace

Attribute unpackAttribute(const vlArray* inputs[]) {
  const CDFid file = unpackCDFId(inputs[0]);
  const long number = unpackLongScalar(inputs[1]);
  return {file, number};
}

long inquireScope(const OperationEntry* entry, const Attribute& attribute, const char* step) {
  long scope = 0;
  check(entry, cdf::onAttribute(attribute.file, attribute.number, GET_, ATTR_SCOPE_, &scope), step);
  return scope;
}

vlArray* packUpScope(long scope) {
  return vlCreateString(nameOf(scopes, scope, unhandledScope));
}

}  // namespace tarvik::ops
