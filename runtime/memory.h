/// Where the memory of arrays and blocks comes from, how many there are, and how a test makes one
/// fail. Everything here is safe on several threads.
#pragma once

#include <cstddef>

namespace vlhost {

/// From this size on, memory is mapped for itself: filling 1 MiB of a fresh huge page takes a fifth
/// of what it takes in fresh small pages, and half of the page at most is wasted.
constexpr std::size_t kLargeBytes = std::size_t{1} << 20;

/// Raises "VORLAN:outOfMemory" for a request of that many bytes.
[[noreturn]] void raiseOutOfMemory(std::size_t bytes);

/// Memory of the general heap, aligned to 16 bytes and not zeroed; never null, raises instead.
/// Meant for less than kLargeBytes and a header.
void* heapMemory(std::size_t bytes);
void heapFree(void* memory);

/// Zeroed memory in huge pages of 2 MiB where the system has them, aligned to those; never null,
/// raises instead.
void* mapZeroed(std::size_t bytes);
void unmap(void* memory, std::size_t bytes);

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
