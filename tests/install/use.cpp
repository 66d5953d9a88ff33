// A program outside the project that uses an installed tree: its headers, host and plug-in.
//
//     use PLUGIN: makes a file in the current folder, opens it again, and hears a refusal.
#include <filesystem>
#include <iostream>

#include "runtime/host.h"

namespace {

vlhost::Array call(vlhost::Plugin& gateway, const char* operation, const vlArray* argument) {
  const vlhost::Array name = vlhost::text(operation);
  vlhost::Result result = gateway.call({name.get(), argument}, 1);
  return result.outputs.empty() ? nullptr : std::move(result.outputs.front());
}

void openAndClose(vlhost::Plugin& gateway, const char* opening) {
  const vlhost::Array name = vlhost::text("made.cdf");
  const vlhost::Array file = call(gateway, opening, name.get());
  call(gateway, "close", file.get());
}

}  // namespace

int main(int, char** arguments) {
  vlhost::Plugin gateway(arguments[1]);
  openAndClose(gateway, "create");
  openAndClose(gateway, "open");
  try {
    openAndClose(gateway, "create");
  } catch (const vlhost::Error& refusal) {
    return refusal.identifier() == "VORLAN:tarvik:create:failure" ? 0 : 1;
  }
  std::cerr << "a file that exists was created again\n";
  return 1;
}
