#include "runtime/errors.h"

#include <cstdarg>
#include <cstdio>
#include <new>
#include <utility>

#include "host/plugin.h"
#include "runtime/scope.h"

namespace vlhost {
namespace {

/// The message, of whatever length.
std::string formatted(const char* format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, again);
  va_end(again);
  if (length < 0) return format;
  std::string message(static_cast<std::size_t>(length), '\0');
  std::vsnprintf(message.data(), message.size() + 1, format, arguments);
  return message;
}

[[noreturn]] void raise(const char* identifier, const char* format, va_list arguments) {
  throw Error(identifier, formatted(format, arguments));
}

void warn(const char* identifier, const char* format, va_list arguments) {
  Warning warning{identifier, formatted(format, arguments)};
  if (Scope* scope = Scope::current()) {
    scope->warnings.push_back(std::move(warning));
  } else {
    showWarning(warning);
  }
}

}  // namespace

Error::Error(std::string identifier, const std::string& message)
    : std::runtime_error(message), identifier_(std::move(identifier)) {}

void showWarning(const Warning& warning) {
  std::fprintf(stderr, "Warning: %s [%s]\n", warning.message.c_str(), warning.identifier.c_str());
}

void raiseAsError() {
  try {
    throw;
  } catch (const Error&) {
    throw;
  } catch (const std::bad_alloc&) {
    throw Error("VORLAN:outOfMemory", "Out of memory.");
  } catch (const std::length_error&) {
    throw Error("VORLAN:outOfMemory", "Out of memory: more was asked for than memory can be.");
  } catch (const std::exception& exception) {
    throw Error("VORLAN:pluginException", exception.what());
  } catch (...) {
    throw Error("VORLAN:pluginException", "The plug-in threw something that is no exception.");
  }
}

}  // namespace vlhost

extern "C" {

VLHOST_API void vlErrMsgIdAndTxt(const char* identifier, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  vlhost::raise(identifier, format, arguments);
}

VLHOST_API void vlpErrMsgIdAndTxt(const char* identifier, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  vlhost::raise(identifier, format, arguments);
}

VLHOST_API void vlWarningMsgIdAndTxt(const char* identifier, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  vlhost::warn(identifier, format, arguments);
  va_end(arguments);
}

VLHOST_API void vlpWarnMsgIdAndTxt(const char* identifier, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  vlhost::warn(identifier, format, arguments);
  va_end(arguments);
}

}  // extern "C"
