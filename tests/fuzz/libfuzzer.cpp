// The call fuzzer driven by libFuzzer: the bytes that it varies make the decisions. It knows the
// gateway's code, not that of the CDF library, which is not instrumented.
#include <csignal>
#include <iostream>
#include <sys/resource.h>

#include "tests/fuzz/session.h"

namespace fs = std::filesystem;

namespace {

constexpr std::uint64_t mostCalls = 300;

/// Loaded once: what it has covered belongs to libFuzzer for good.
vlhost::Plugin& gateway() {
  static vlhost::Plugin plugin(GATEWAY);
  return plugin;
}

const fs::path& folder() {
  static const fs::path made = [] {
    std::string name = (fs::temp_directory_path() / "fuzz-XXXXXX").string();
    return fs::path(mkdtemp(name.data()));
  }();
  return made;
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) int LLVMFuzzerInitialize(int*, char***) {
  constexpr rlim_t mostFileBytes = 4 << 20;
  const rlimit bounds{mostFileBytes, mostFileBytes};
  setrlimit(RLIMIT_FSIZE, &bounds);
  std::atexit([] { fs::remove_all(folder()); });
  return 0;
}

__attribute__((visibility("default"))) int LLVMFuzzerTestOneInput(const std::uint8_t* bytes,
                                                                  std::size_t count) {
  static const std::vector<Operation> catalogue = readCatalogue(CATALOGUE, EXTENDED);
  static const fs::path home = fs::current_path();
  std::signal(SIGXFSZ, SIG_IGN);  // Here, since libFuzzer has a handler of its own by now.
  fs::create_directory(folder() / "files");
  fs::current_path(folder() / "files");
  static std::FILE* const trace = std::fopen("/dev/null", "w");
  auto progress = std::make_unique<Progress>();
  ByteChoices choices(bytes, count);
  try {
    Session(gateway(), catalogue, choices, *progress, trace).run(mostCalls);
  } catch (const std::exception& fault) {
    std::cerr << fault.what() << ", at: " << progress->current.data() << '\n';
    std::abort();
  }
  fs::current_path(home);
  fs::remove_all(folder() / "files");
  return 0;
}

}  // extern "C"
