// The call fuzzer: sequences of calls from seeds, each in a process and a folder of its own, so
// that a crash ends one sequence and is reported with the call that caused it.
#include <chrono>
#include <csignal>
#include <cstring>
#include <fstream>
#include <iostream>
#include <new>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/fuzz/session.h"

namespace fs = std::filesystem;

// Only a sanitizer has it.
extern "C" int __lsan_do_recoverable_leak_check() __attribute__((weak));

namespace {

bool leaks() {
  return __lsan_do_recoverable_leak_check != nullptr && __lsan_do_recoverable_leak_check() != 0;
}

constexpr const char* usage =
    "Usage: fuzz [--seed N] [--calls N] [--length N] [--trace]\n"
    "\n"
    "Makes sequences of --length calls, the first from seed N, the next from N + 1 and so on,\n"
    "until --calls are made, and prints the results as one JSON object. --trace shows each call.\n"
    "To repeat a failure: --seed of the failure, --calls 1 and the same --length. The exit code "
    "is\n"
    "1 if anything failed.\n";

struct Options {
  std::uint64_t seed = 1;
  std::uint64_t calls = 100000;
  std::uint64_t length = 300;
  bool trace = false;
};

/// What a value may ask of the disk and of memory, beyond what the process has at the start.
constexpr rlim_t mostFileBytes = 4 << 20;
constexpr rlim_t mostMemory = 2UL << 30;
/// A sequence takes a fraction of a second.
constexpr unsigned hangSeconds = 60;
/// What a sequence ends with that found a fault; a sanitizer ends it with 1.
constexpr int faultCode = 3;

Options optionsFrom(int argc, char** argv) {
  Options options;
  const std::map<std::string, std::uint64_t*> numbers = {
      {"--seed", &options.seed}, {"--calls", &options.calls}, {"--length", &options.length}};
  for (int i = 1; i < argc; ++i) {
    const auto number = numbers.find(argv[i]);
    if (std::strcmp(argv[i], "--trace") == 0) {
      options.trace = true;
    } else if (number != numbers.end() && i + 1 < argc) {
      *number->second = std::stoull(argv[++i]);
    } else {
      std::cerr << usage;
      std::exit(2);
    }
  }
  return options;
}

/// The memory that counts for RLIMIT_DATA; what a sanitizer keeps for itself is most of it.
rlim_t dataBytes() {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    rlim_t kilobytes = 0;
    if (word == "VmData:" && status >> kilobytes) return kilobytes * 1024;
  }
  return 0;
}

void limit(decltype(RLIMIT_DATA) resource, rlim_t most) {
  const rlimit bounds{most, most};
  setrlimit(resource, &bounds);
}

/// Runs one sequence and ends the process.
[[noreturn]] void runSequence(const Options& options, std::uint64_t seed, const fs::path& folder,
                              const std::vector<Operation>& catalogue, Progress& progress,
                              std::FILE* trace) {
  fs::create_directory(folder);
  fs::current_path(folder);
  std::signal(SIGXFSZ, SIG_IGN);
  limit(RLIMIT_CORE, 0);
  limit(RLIMIT_FSIZE, mostFileBytes);
  limit(RLIMIT_DATA, dataBytes() + mostMemory);
  alarm(hangSeconds);
  int result = 0;
  try {
    SeededChoices choices(seed);
    vlhost::Plugin gateway(GATEWAY);
    Session(gateway, catalogue, choices, progress, trace).run(options.length);
    if (leaks()) throw Fault("a leak");
    gateway.unload();
  } catch (const std::exception& fault) {
    const std::string text = std::string(fault.what()) + ", at: " + progress.current.data();
    std::snprintf(progress.current.data(), progress.current.size(), "%s", text.c_str());
    result = faultCode;
  }
  std::fflush(stdout);
  _exit(result);
}

/// How the process ended; empty if it found nothing.
std::string outcomeOf(int status) {
  if (WIFSIGNALED(status)) {
    return WTERMSIG(status) == SIGALRM ? "hang" : "signal " + std::to_string(WTERMSIG(status));
  }
  if (WEXITSTATUS(status) == 0) return "";
  return WEXITSTATUS(status) == faultCode ? "fault" : "exit " + std::to_string(WEXITSTATUS(status));
}

std::string inQuotes(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') result += '\\';
    result += c >= ' ' && c <= '~' ? c : '?';
  }
  return result + "\"";
}

/// A failure as a JSON object.
std::string failure(std::uint64_t seed, const std::string& outcome, const Progress& progress) {
  return "\n    {\"seed\": " + std::to_string(seed) +
         ", \"call\": " + std::to_string(progress.sequenceCalls) +
         ", \"outcome\": " + inQuotes(outcome) +
         ", \"text\": " + inQuotes(progress.current.data()) + "}";
}

std::string neverSucceeded(const std::vector<Operation>& catalogue, const Progress& progress) {
  std::string names;
  for (std::size_t i = 0; i < catalogue.size(); ++i) {
    if (progress.succeeded.at(i) == 0) names += (names.empty() ? "" : " ") + catalogue[i].name;
  }
  return inQuotes(names);
}

}  // namespace

/// Read by the address sanitizer: memory that cannot be had is an answer like any other.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
  return "allocator_may_return_null=1:max_allocation_size_mb=48:quarantine_size_mb=16:"
         "detect_stack_use_after_return=1:handle_abort=1:print_suppressions=0";
}

/// Read by the leak sanitizer. The library keeps buffers of files that it fails to close, and of
/// failing opens; nothing of the gateway is allocated under its functions.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
  return "leak:libcdf.so";
}

int main(int argc, char** argv) {
  const Options options = optionsFrom(argc, argv);
  const std::vector<Operation> catalogue = readCatalogue(CATALOGUE, EXTENDED);
  statusesByText();
  void* shared =
      mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  Progress& progress = *new (shared) Progress{};
  std::string name = (fs::temp_directory_path() / "fuzz-XXXXXX").string();
  const fs::path folder = mkdtemp(name.data());
  std::FILE* const silence = std::fopen("/dev/null", "w");

  const auto start = std::chrono::steady_clock::now();
  std::string failures;
  std::uint64_t seed = options.seed;
  for (; progress.calls < options.calls; ++seed) {
    const auto run = [&](std::FILE* trace) {
      progress.current = {};
      const pid_t child = fork();
      if (child == 0) runSequence(options, seed, folder / "files", catalogue, progress, trace);
      int status = 0;
      waitpid(child, &status, 0);
      fs::remove_all(folder / "files");
      return outcomeOf(status);
    };
    std::string outcome = run(options.trace ? stdout : nullptr);
    if (outcome.empty()) continue;
    // Once more, to have the call in words.
    if (!options.trace) outcome += ", then " + run(silence);
    failures += (failures.empty() ? "" : ",") + failure(seed, outcome, progress);
    std::cerr << "seed " << seed << ", call " << progress.sequenceCalls << ": " << outcome << ": "
              << progress.current.data() << '\n';
  }
  fs::remove_all(folder);

  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  std::cout << "{\n  \"calls\": " << progress.calls << ",\n  \"seconds\": " << elapsed.count()
            << ",\n  \"first_seed\": " << options.seed
            << ",\n  \"sequences\": " << seed - options.seed
            << ",\n  \"never_succeeded\": " << neverSucceeded(catalogue, progress)
            << ",\n  \"refused\": " << progress.refused
            << ",\n  \"files_verified\": " << progress.filesVerified
            << ",\n  \"records_verified\": " << progress.recordsVerified << ",\n  \"failures\": ["
            << failures << "]\n}\n";
  return failures.empty() ? 0 : 1;
}
