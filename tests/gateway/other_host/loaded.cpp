// A program that loads its host from a shared library, after the project's host for itself alone,
// as Python does. Before the host is there, the loader names what the plug-in lacks.
#include <cstdio>
#include <cstring>
#include <dlfcn.h>

#include "tests/gateway/other_host/run.h"

namespace {

int fail(const char* what) {
  std::fprintf(stderr, "%s: %s\n", what, dlerror());
  return 1;
}

}  // namespace

int main(int count, char** arguments) {
  if (dlopen(PROJECT_HOST, RTLD_NOW | RTLD_LOCAL) == nullptr) return fail("no host");
  if (dlopen(GATEWAY, RTLD_NOW | RTLD_LOCAL) != nullptr) return fail("loaded without a host");
  const char* const reason = dlerror();
  if (std::strstr(reason, "undefined symbol: vl") == nullptr) {
    std::fprintf(stderr, "no function of the host is named: %s\n", reason);
    return 1;
  }
  void* const host = dlopen(OTHER_HOST, RTLD_NOW | RTLD_GLOBAL);
  if (host == nullptr) return fail("no other host");
  return reinterpret_cast<decltype(&runTests)>(dlsym(host, "runTests"))(count, arguments);
}
