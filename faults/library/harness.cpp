#include "faults/library/harness.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace tarvik::faults {

namespace {

constexpr unsigned secondsOfARow = 20;
constexpr std::size_t fileBytes = std::size_t{1} << 28;
constexpr std::size_t memoryBytes = std::size_t{1} << 33;
constexpr std::size_t page = 4096;
constexpr int failed = 255;  ///< The exit code of a program that could not be run.

std::vector<const char*> guards;

void onFault(int number, siginfo_t* info, void*) {
  const char* const address = static_cast<const char*>(info->si_addr);
  for (const char* guard : guards) {
    if (guard <= address && address < guard + page) {
      _exit(static_cast<int>(Seen::overrun));
    }
  }
  std::signal(number, SIG_DFL);  // The access is tried again, and ends the process.
}

void limit(__rlimit_resource resource, std::size_t bytes) {
  const rlimit value{bytes, RLIM_INFINITY};
  setrlimit(resource, &value);
}

void isolate() {
  limit(RLIMIT_CORE, 0);
  limitFiles(fileBytes);
  limitMemory(memoryBytes);
  std::signal(SIGXFSZ, SIG_IGN);
  alarm(secondsOfARow);
  struct sigaction action {};
  action.sa_sigaction = onFault;
  action.sa_flags = SA_SIGINFO;
  sigaction(SIGSEGV, &action, nullptr);
  sigaction(SIGBUS, &action, nullptr);
  static_cast<void>(std::freopen("/dev/null", "w", stderr));  // Reports of a broken heap.
}

Seen runApart(const Fault& fault, const std::string& folder) {
  const pid_t child = fork();
  if (child == 0) {
    try {
      isolate();
      std::filesystem::current_path(folder);
      _exit(static_cast<int>(fault.run == nullptr ? follow(fault.steps) : fault.run()));
    } catch (...) {
      _exit(failed);
    }
  }
  int state = 0;
  if (child < 0 || waitpid(child, &state, 0) != child ||
      (WIFEXITED(state) && WEXITSTATUS(state) == failed)) {
    std::fprintf(stderr, "%s could not be run\n", fault.name);
    std::exit(1);
  }
  if (WIFSIGNALED(state)) {
    return WTERMSIG(state) == SIGALRM ? Seen::hang : Seen::crash;
  }
  return static_cast<Seen>(WEXITSTATUS(state));
}

}  // namespace

Seen observe(const Fault& fault, int times) {
  Seen seen = Seen::nothing;
  for (int i = 0; i < times && seen == Seen::nothing; ++i) {
    std::string folder = std::filesystem::temp_directory_path() / "library_faults.XXXXXX";
    if (mkdtemp(folder.data()) == nullptr) {
      std::perror("no temporary folder");
      std::exit(1);
    }
    seen = runApart(fault, folder);
    std::filesystem::remove_all(folder);
  }
  return seen;
}

const char* nameOf(Seen seen) {
  constexpr std::array names{"not seen",    "wrong values", "another file or variable",
                             "dead handle", "file lost",    "overrun",
                             "crash",       "hang"};
  return names.at(static_cast<std::size_t>(seen));
}

void limitFiles(std::size_t bytes) {
  limit(RLIMIT_FSIZE, bytes);
}

void limitMemory(std::size_t bytes) {
  limit(RLIMIT_AS, bytes);
}

Guarded::Guarded(std::size_t bytes) : end_(nullptr), bytes_(bytes) {
  const std::size_t rounded = (bytes + page - 1) / page * page;
  void* const all = mmap(nullptr, rounded + page, PROT_READ | PROT_WRITE,
                         MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (all == MAP_FAILED) {
    std::abort();
  }
  end_ = static_cast<char*>(all) + rounded;
  mprotect(end_, page, PROT_NONE);
  guards.push_back(end_);
}

File::File(const char* name) : path(std::string(name) + ".cdf") {
  CDFcreateCDF(name, &id);
}

long File::variable(long datatype, std::vector<long> sizes, long recVary, long varies,
                    const std::string& name) {
  long number = 0;
  on(GET_, CDF_NUMzVARS_, &number);
  const std::string named = name.empty() ? "v" + std::to_string(number) : name;
  const auto dimensions = static_cast<long>(sizes.size());
  std::vector<long> varys(sizes.size(), varies);
  const CDFstatus status = on(CREATE_, zVAR_, named.c_str(), datatype, 1L, dimensions, sizes.data(),
                              recVary, varys.data(), &number);
  return status < 0 ? status : number;
}

long File::attribute(const std::string& name) const {
  long number = -1;
  on(CREATE_, ATTR_, name.c_str(), GLOBAL_SCOPE, &number);
  return number;
}

CDFstatus File::compress(long variable, long type) const {
  CompressionParameters level{type == GZIP_COMPRESSION ? 6L : 0L};
  return cdf::onVariable(id, variable, PUT_, zVAR_COMPRESSION_, type, level.data());
}

CDFstatus File::value(long variable, long function, long record, void* value) const {
  const std::array<long, CDF_MAX_DIMS> first{};
  return cdf::onVariable(id, variable, zVAR_RECNUMBER_, record, zVAR_DIMINDICES_, first.data(),
                         function, zVAR_DATA_, value);
}

CDFstatus File::slab(long variable, long function, const Slab& slab, void* values) const {
  return cdf::onVariable(id, variable, zVAR_RECNUMBER_, slab.start, zVAR_RECCOUNT_, slab.count,
                         zVAR_RECINTERVAL_, slab.interval, zVAR_DIMINDICES_, slab.indices.data(),
                         zVAR_DIMCOUNTS_, slab.counts.data(), zVAR_DIMINTERVALS_,
                         slab.intervals.data(), function, zVAR_HYPERDATA_, values);
}

CDFstatus File::close() const {
  return on(CLOSE_, CDF_);
}

CDFstatus File::reopen() {
  return cdf::call(OPEN_, CDF_, path.c_str(), &id);
}

Seen File::fate() {
  long variables = 0;
  const bool dead = on(GET_, CDF_NUMzVARS_, &variables) < 0;
  close();
  if (reopen() < 0) {
    return Seen::lostFile;
  }
  return dead ? Seen::deadHandle : Seen::nothing;
}

}  // namespace tarvik::faults
