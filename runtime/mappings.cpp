#include "runtime/mappings.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <mutex>
#include <sys/mman.h>
#include <sys/resource.h>

#include "runtime/host.h"
#include "runtime/memory.h"

namespace vlhost {
namespace {

/// No object can be larger.
constexpr std::size_t kMaxBytes = std::numeric_limits<std::ptrdiff_t>::max();
constexpr std::size_t kHugePage = std::size_t{2} << 20;
/// What is kept at most. A variable of 500 MB fits.
constexpr std::size_t kMostSpareBytes = std::size_t{512} << 20;

/// Huge pages that no array and no block uses.
struct Mapping {
  char* start = nullptr;
  std::size_t length = 0;

  void giveBack() const { munmap(start, length); }
};

/// Whether what is kept could be missed: others in the process, the CDF library among them, cannot
/// have it.
bool isMemoryLimited() {
  for (const auto resource : {RLIMIT_AS, RLIMIT_DATA}) {
    rlimit limit{};
    if (getrlimit(resource, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY) return true;
  }
  return false;
}

/// What was freed and not yet given back to the system, the oldest first.
class Spares {
 public:
  /// Mapping of exactly that length; one without a start where none can serve.
  Mapping take(std::size_t length) {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::size_t best = count_;
    for (std::size_t i = 0; i < count_; ++i) {
      const bool serves = spares_[i].length >= length && spares_[i].length / 2 <= length;
      if (serves && (best == count_ || spares_[i].length <= spares_[best].length)) best = i;
    }
    if (best == count_) return {};
    const Mapping taken = remove(best);
    const Mapping rest{taken.start + length, taken.length - length};
    if (rest.length > 0) rest.giveBack();
    return {taken.start, length};
  }

  void keep(const Mapping& mapping) {
    // Only what the system can have at any time is kept.
    if (mapping.length > kMostSpareBytes || isMemoryLimited() ||
        madvise(mapping.start, mapping.length, MADV_FREE) != 0) {
      mapping.giveBack();
      return;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    makeRoomFor(mapping.length);
    spares_[count_++] = mapping;
    bytes_ += mapping.length;
  }

  /// Before so much is mapped anew: what would not be kept beside it goes first.
  void prepareFor(std::size_t length) {
    const std::lock_guard<std::mutex> lock(mutex_);
    makeRoomFor(length);
  }

  void giveBackAll() {
    const std::lock_guard<std::mutex> lock(mutex_);
    while (count_ > 0) remove(0).giveBack();
  }

 private:
  void makeRoomFor(std::size_t length) {
    while (count_ > 0 && (count_ == spares_.size() || bytes_ + length > kMostSpareBytes)) {
      remove(0).giveBack();
    }
  }

  Mapping remove(std::size_t index) {
    const Mapping removed = spares_[index];
    std::copy(spares_.begin() + index + 1, spares_.begin() + count_, spares_.begin() + index);
    --count_;
    bytes_ -= removed.length;
    return removed;
  }

  std::mutex mutex_;
  std::array<Mapping, 64> spares_{};
  std::size_t count_ = 0;
  std::size_t bytes_ = 0;
};

/// Needs no construction and no destruction: arrays may be freed by other static objects.
Spares spares;

/// The length that is mapped for a request.
std::size_t mappedLength(std::size_t bytes) {
  return (bytes + kHugePage - 1) / kHugePage * kHugePage;
}

/// A new mapping, whose bytes are zero; none where the system has no memory for it.
Mapping newMapping(std::size_t length) {
  void* const mapped =
      mmap(nullptr, length + kHugePage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mapped == MAP_FAILED) return {};

  // A mapping starts at any page: take a huge page more, and give back what sticks out.
  char* const start = static_cast<char*>(mapped);
  const std::size_t before =
      (kHugePage - reinterpret_cast<std::uintptr_t>(start) % kHugePage) % kHugePage;
  char* const memory = start + before;
  if (before > 0) munmap(start, before);
  munmap(memory + length, kHugePage - before);
  madvise(memory, length, MADV_HUGEPAGE);  // a wish: small pages do as well
  return {memory, length};
}

void* mapFresh(std::size_t bytes) {
  const std::size_t length = mappedLength(bytes);
  spares.prepareFor(length);
  Mapping mapping = newMapping(length);
  if (mapping.start == nullptr) {
    spares.giveBackAll();
    mapping = newMapping(length);
  }
  if (mapping.start == nullptr) raiseOutOfMemory(bytes);
  return mapping.start;
}

void* takeSpare(std::size_t bytes) {
  if (bytes > kMaxBytes) raiseOutOfMemory(bytes);
  return spares.take(mappedLength(bytes)).start;
}

}  // namespace

void* mapMemory(std::size_t bytes) {
  void* const spare = takeSpare(bytes);
  return spare != nullptr ? spare : mapFresh(bytes);
}

void* mapZeroed(std::size_t bytes) {
  void* const spare = takeSpare(bytes);
  if (spare == nullptr) return mapFresh(bytes);
  zero(spare, bytes);
  return spare;
}

void unmap(void* memory, std::size_t bytes) {
  spares.keep({static_cast<char*>(memory), mappedLength(bytes)});
}

void giveBackSpareMemory() {
  spares.giveBackAll();
}

}  // namespace vlhost
