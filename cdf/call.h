/// CDFlib with the types of its arguments checked. The library takes every integer in the list as a
/// long, and an int passed there is undefined behaviour that shows only when the argument lies on
/// the stack; here it does not compile. The closing NULL_ is added.
#pragma once

#include <type_traits>

#include "cdf/functions.h"
#include "cdf/handles.h"
#include "cdf/items.h"

namespace tarvik::cdf {

template <typename T>
inline constexpr bool isListArgument = std::is_same_v<T, long> || std::is_pointer_v<T>;

/// A request that needs no file.
template <typename... Arguments>
CDFstatus call(long function, Arguments... arguments) {
  static_assert((isListArgument<Arguments> && ...), "an item list holds longs and pointers only");
  return CDFlib(function, arguments..., NULL_);
}

/// A request on a file. The list goes on under SELECT_, so further selections may follow directly.
template <typename... Arguments>
CDFstatus onFile(CDFid file, Arguments... arguments) {
  return isGone(file) ? BAD_CDF_ID : call(SELECT_, CDF_, file, arguments...);
}

/// One of the library's functions that take a file first.
template <typename... Parameters, typename... Arguments>
CDFstatus onFile(CDFstatus (*function)(CDFid, Parameters...), CDFid file, Arguments... arguments) {
  return isGone(file) ? BAD_CDF_ID : function(file, arguments...);
}

/// A request on a z-variable of a file.
template <typename... Arguments>
CDFstatus onVariable(CDFid file, long variable, Arguments... arguments) {
  return onFile(file, zVAR_, variable, arguments...);
}

/// A request on an attribute of a file.
template <typename... Arguments>
CDFstatus onAttribute(CDFid file, long attribute, Arguments... arguments) {
  return onFile(file, ATTR_, attribute, arguments...);
}

}  // namespace tarvik::cdf
