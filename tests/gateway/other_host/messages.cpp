#include <cstdarg>
#include <cstdio>

#include "host/plugin.h"
#include "tests/gateway/other_host/host.h"

namespace other {

Log log;

namespace {

std::string formatted(const char* format, va_list arguments) {
  char text[512];
  std::vsnprintf(text, sizeof(text), format, arguments);
  return text;
}

}  // namespace
}  // namespace other

// One body for both names of a function.
#define OTHER_HOST_ERROR(function)                                         \
  void function(const char* identifier, const char* format, ...) {         \
    va_list arguments;                                                     \
    va_start(arguments, format);                                           \
    throw other::Failure{identifier, other::formatted(format, arguments)}; \
  }
#define OTHER_HOST_WARNING(function)                                                          \
  void function(const char* identifier, const char* format, ...) {                            \
    va_list arguments;                                                                        \
    va_start(arguments, format);                                                              \
    other::log.warnings.push_back(identifier + (": " + other::formatted(format, arguments))); \
    va_end(arguments);                                                                        \
  }

extern "C" {

OTHER_HOST_ERROR(vlErrMsgIdAndTxt)
OTHER_HOST_ERROR(vlpErrMsgIdAndTxt)
OTHER_HOST_WARNING(vlWarningMsgIdAndTxt)
OTHER_HOST_WARNING(vlpWarnMsgIdAndTxt)

int vlpAtExit(void (*handler)(void)) {
  other::log.atExit = handler;
  return 0;
}

}  // extern "C"
