#include "runtime/block_table.h"

#include <cstdint>
#include <new>
#include <utility>

#include "runtime/memory.h"

namespace vlhost {

std::size_t BlockTable::home(const void* block) const {
  // Blocks are aligned to 16 bytes; the multiplication spreads the rest over the upper half.
  const auto address = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(block)) >> 4;
  return static_cast<std::size_t>((address * 0x9E3779B97F4A7C15u) >> 32) & (capacity_ - 1);
}

std::size_t BlockTable::find(const void* block) const {
  std::size_t index = home(block);
  while (entries_[index].block != nullptr && entries_[index].block != block) {
    index = (index + 1) & (capacity_ - 1);
  }
  return index;
}

void BlockTable::reserveOne() {
  if (entries_ == nullptr) {
    few_.fill({});
    entries_ = few_.data();
    capacity_ = few_.size();
  } else if ((used_ + 1) * 4 > capacity_ * 3) {
    grow();
  }
}

void BlockTable::grow() {
  const std::size_t capacity = capacity_ * 2;
  std::unique_ptr<Entry[]> larger(new (std::nothrow) Entry[capacity]());
  if (larger == nullptr) raiseOutOfMemory(capacity * sizeof(Entry));

  const Entry* const old = entries_;
  const Entry* const oldEnd = end();
  entries_ = larger.get();
  capacity_ = capacity;
  used_ = 0;
  for (const Entry* entry = old; entry != oldEnd; ++entry) {
    if (entry->block != nullptr) insert(entry->block, entry->size);
  }
  many_ = std::move(larger);
}

void BlockTable::insert(void* block, std::size_t size) {
  entries_[find(block)] = {block, size};
  ++used_;
}

BlockTable::Entry BlockTable::take(void* block) {
  if (used_ == 0) return {};
  const std::size_t index = find(block);
  return entries_[index].block == nullptr ? Entry{} : takeAt(index);
}

BlockTable::Entry BlockTable::takeAt(std::size_t hole) {
  const Entry taken = entries_[hole];
  // Whatever probed past the hole moves up, so that no look-up stops early.
  for (std::size_t next = (hole + 1) & (capacity_ - 1); entries_[next].block != nullptr;
       next = (next + 1) & (capacity_ - 1)) {
    const std::size_t fromHome = (next - home(entries_[next].block)) & (capacity_ - 1);
    const std::size_t fromHole = (next - hole) & (capacity_ - 1);
    if (fromHome >= fromHole) {
      entries_[hole] = entries_[next];
      hole = next;
    }
  }
  entries_[hole] = {};
  --used_;
  return taken;
}

}  // namespace vlhost
