#include "runtime/memory.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <sys/mman.h>

#include "runtime/host.h"

namespace vlhost {
namespace {

/// No object can be larger.
constexpr std::size_t kMaxBytes = std::numeric_limits<std::ptrdiff_t>::max();
constexpr std::size_t kHugePage = std::size_t{2} << 20;

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

/// The length that is mapped for a request.
std::size_t mappedLength(std::size_t bytes) {
  return (bytes + kHugePage - 1) / kHugePage * kHugePage;
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

void* mapZeroed(std::size_t bytes) {
  if (bytes > kMaxBytes) raiseOutOfMemory(bytes);
  const std::size_t length = mappedLength(bytes);
  void* mapping =
      mmap(nullptr, length + kHugePage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mapping == MAP_FAILED) raiseOutOfMemory(bytes);

  // A mapping starts at any page: take a huge page more, and give back what sticks out.
  char* const start = static_cast<char*>(mapping);
  const std::size_t before =
      (kHugePage - reinterpret_cast<std::uintptr_t>(start) % kHugePage) % kHugePage;
  char* const memory = start + before;
  if (before > 0) munmap(start, before);
  munmap(memory + length, kHugePage - before);
  madvise(memory, length, MADV_HUGEPAGE);  // a wish: small pages do as well
  return memory;
}

void unmap(void* memory, std::size_t bytes) {
  munmap(memory, mappedLength(bytes));
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
