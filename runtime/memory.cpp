#include "runtime/memory.h"

#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>
#ifdef __SSE2__
#  include <emmintrin.h>
#endif

#include "runtime/host.h"

namespace vlhost {
namespace {

std::array<std::atomic<std::size_t>, 2> alive;
/// Allocations still to succeed before one fails; negative where none is to fail.
std::atomic<long> untilFailure{-1};

std::atomic<std::size_t>& count(Kind kind) {
  return alive[static_cast<std::size_t>(kind)];
}

#ifdef __SSE2__
/// From here on zeros go past the caches, which would not hold them until they are overwritten.
constexpr std::size_t kPastCachesBytes = std::size_t{16} << 20;

/// Zeroes all whole chunks; returns how many bytes these are.
std::size_t zeroPastCaches(char* memory, std::size_t bytes) {
  const auto zeros = _mm_setzero_si128();
  auto* const chunks = reinterpret_cast<__m128i*>(memory);
  const std::size_t count = bytes / sizeof(__m128i);
  for (std::size_t i = 0; i < count; ++i) _mm_stream_si128(chunks + i, zeros);
  _mm_sfence();
  return count * sizeof(__m128i);
}
#endif

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

void zero(void* memory, std::size_t bytes) {
  constexpr std::size_t kStep = std::size_t{64} << 10;
  char* start = static_cast<char*>(memory);
#ifdef __SSE2__
  if (bytes >= kPastCachesBytes) {
    const std::size_t done = zeroPastCaches(start, bytes);
    start += done;
    bytes -= done;
  }
#endif
  // The end first: what is zeroed last is still in the cache when values come, from the start.
  while (bytes > kStep) {
    bytes -= kStep;
    std::memset(start + bytes, 0, kStep);
  }
  std::memset(start, 0, bytes);
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
