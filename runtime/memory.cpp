#include "runtime/memory.h"

#include <array>
#include <atomic>
#include <cstdlib>
#include <string>

#include "runtime/host.h"

namespace vlhost {
namespace {

std::array<std::atomic<std::size_t>, 2> alive;
/// Allocations still to succeed before one fails; negative where none is to fail.
std::atomic<long> untilFailure{-1};

std::atomic<std::size_t>& count(Kind kind) {
  return alive[static_cast<std::size_t>(kind)];
}

bool failsNow() {
  if (untilFailure.load(std::memory_order_relaxed) < 0) return false;
  return untilFailure.fetch_sub(1) == 0;
}

}  // namespace

void raiseOutOfMemory(std::size_t bytes) {
  throw Error("VORLAN:outOfMemory",
              "Out of memory: " + std::to_string(bytes) + " bytes cannot be had.");
}

void* heapMemory(std::size_t bytes) {
  void* memory = std::malloc(bytes);
  if (memory == nullptr) raiseOutOfMemory(bytes);
  return memory;
}

void heapFree(void* memory) {
  std::free(memory);
}

Counted::Counted(Kind kind, std::size_t bytes) : kind_(kind) {
  if (failsNow()) raiseOutOfMemory(bytes);
  count(kind).fetch_add(1, std::memory_order_relaxed);
}

Counted::~Counted() {
  if (!kept_) countGone(kind_);
}

void countGone(Kind kind) {
  count(kind).fetch_sub(1, std::memory_order_relaxed);
}

Holdings holdings() {
  return {count(Kind::array), count(Kind::block)};
}

void failAllocation(long n) {
  untilFailure = n;
}

}  // namespace vlhost
