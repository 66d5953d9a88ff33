#include "convert/text.h"

#include <algorithm>
#include <cstring>

namespace tarvik {

std::string unpackString(const vlArray* argument) {
  if (vlGetClassID(argument) != vlCHAR_CLASS) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:unpackString:argumentNotChar",
                     "Text argument must be a character array instead of %s.",
                     vlGetClassName(argument));
  }
  const HostBytes bytes = narrow(argument);
  const std::size_t length = vlGetNumberOfElements(argument);
  if (std::memchr(bytes.get(), '\0', length) != nullptr) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:unpackString:containsNul",
                     "Text argument must not contain NUL characters.");
  }
  return std::string(bytes.get(), length);
}

HostBytes narrow(const vlArray* text) {
  return HostBytes(vlArrayToString(text));
}

void widen(const char* bytes, vlArray* text) {
  std::transform(bytes, bytes + vlGetNumberOfElements(text), static_cast<vlChar*>(vlGetData(text)),
                 [](char byte) { return static_cast<vlChar>(static_cast<signed char>(byte)); });
}

}  // namespace tarvik
