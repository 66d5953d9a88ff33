// What a Python program loads to see how long the CDF library itself takes.
#include <chrono>

#include "bench/direct.h"

namespace bench {
namespace {

using namespace tarvik;  // The names of the library's items.

/// A file that is open to be read.
class Reading {
 public:
  explicit Reading(const char* path) { must(cdf::call(OPEN_, CDF_, path, &file_)); }
  ~Reading() { cdf::onFile(file_, CLOSE_, CDF_); }
  Reading(const Reading&) = delete;
  Reading& operator=(const Reading&) = delete;

  CDFid file() const { return file_; }

 private:
  CDFid file_ = nullptr;
};

}  // namespace

/// Seconds that so many readings of one double take, each after the inquiries that the gateway
/// makes. `place` has two indices, the slowest first.
extern "C" __attribute__((visibility("default"))) double secondsOfValues(const char* path,
                                                                         long record,
                                                                         const long* place,
                                                                         long calls) {
  const Reading reading(path);
  double value = 0;
  const auto start = std::chrono::steady_clock::now();
  for (long i = 0; i < calls; ++i) {
    inquireVariable(reading.file(), 0);
    inquireMajority(reading.file());
    transferValue(reading.file(), 0, record, place, GET_, &value);
  }
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace bench
