/// Small memory for arrays and blocks, how many of these there are, and how a test makes one fail.
/// Everything here is safe on several threads.
#pragma once

#include <cstddef>

namespace vlhost {

/// Raises "VORLAN:outOfMemory" for a request of that many bytes.
[[noreturn]] void raiseOutOfMemory(std::size_t bytes);

/// Memory of the general heap, aligned to 16 bytes and not zeroed; never null, raises instead.
/// Meant for less than the kLargeBytes of runtime/mappings.h and a header.
void* heapMemory(std::size_t bytes);
void heapFree(void* memory);

/// Zeroes memory, aligned to 16 bytes, that is likely to be filled from its start soon.
void zero(void* memory, std::size_t bytes);

enum class Kind { array, block };

/// Counts one array or block as alive; raises "VORLAN:outOfMemory" where failAllocation said so,
/// and then nothing was counted.
class Counted {
 public:
  Counted(Kind kind, std::size_t bytes);
  ~Counted();
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
  /// What was counted came to life; without this the destructor takes the count back.
  void keep() { kept_ = true; }

 private:
  Kind kind_;
  bool kept_ = false;
};

void countGone(Kind kind);

}  // namespace vlhost
