#include "python/src/visit.h"

#include <chrono>
#include <nanobind/nanobind.h>
#include <thread>
#include <unistd.h>

namespace pyhost {
namespace {

/// Of all threads, and of this one: touched with the interpreter's lock held.
int visits = 0;
thread_local int ownVisits = 0;
std::thread::id leaver;

[[noreturn]] void sleepForEver() {
  PyEval_SaveThread();
  for (;;) pause();
}

}  // namespace

Visit::Visit() {
  const bool ends = leaver != std::thread::id() && leaver != std::this_thread::get_id();
  if (ends && ownVisits == 0) sleepForEver();
  ++visits;
  ++ownVisits;
}

Visit::~Visit() {
  --visits;
  --ownVisits;
}

void Visit::endOthers() {
  leaver = std::this_thread::get_id();
  while (visits > ownVisits) {
    const nanobind::gil_scoped_release others;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

void Visit::forgetOthers() {
  visits = ownVisits;
}

}  // namespace pyhost
