/// The blocks that are alive in one call, or outside all calls.
#pragma once

#include <array>
#include <cstddef>
#include <memory>

namespace vlhost {

/// A set of addresses with a size each: open addressing, linear probing. A table, because a pointer
/// that is freed may be stale, and only a look-up that does not touch the memory can tell. The
/// first few entries need no memory of the heap, and an empty table costs nothing.
class BlockTable {
 public:
  BlockTable() = default;
  BlockTable(const BlockTable&) = delete;
  BlockTable& operator=(const BlockTable&) = delete;

  struct Entry {
    void* block;
    std::size_t size;
  };

  /// Makes room for one more entry; raises "VORLAN:outOfMemory".
  void reserveOne();
  /// Adds an address that is not there yet, into room that was reserved.
  void insert(void* block, std::size_t size);
  /// Takes an address out; an entry with a null block where it is not there.
  Entry take(void* block);
  /// All that is in the table, among entries whose block is null.
  const Entry* begin() const { return entries_; }
  const Entry* end() const { return entries_ + capacity_; }

 private:
  std::size_t home(const void* block) const;
  std::size_t find(const void* block) const;
  void grow();
  Entry takeAt(std::size_t hole);

  std::array<Entry, 4> few_;  ///< Cleared at the first use.
  std::unique_ptr<Entry[]> many_;
  Entry* entries_ = nullptr;
  std::size_t capacity_ = 0;  ///< A power of two once there are entries.
  std::size_t used_ = 0;
};

}  // namespace vlhost
