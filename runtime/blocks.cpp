// Blocks of memory for a plug-in's own use.
#include <algorithm>
#include <mutex>

#include "runtime/block_table.h"
#include "runtime/mappings.h"
#include "runtime/memory.h"
#include "runtime/scope.h"
#include "runtime/storage.h"

namespace vlhost {
namespace {

/// From this size on, a block is mapped for itself. Below kLargeBytes that wastes most of a huge
/// page, but blocks end with their call, and the heap would ask the system for each anew.
constexpr std::size_t kLargeBlockBytes = std::size_t{128} << 10;

/// The blocks made outside all calls, by any thread.
struct ProgramBlocks {
  std::mutex mutex;
  BlockTable table;
};

ProgramBlocks& programBlocks() {
  static ProgramBlocks* const blocks = new ProgramBlocks;  // outlives every static object
  return *blocks;
}

BlockTable::Entry takeBlock(void* block) {
  if (Scope* scope = Scope::current()) {
    const BlockTable::Entry entry = scope->blocks.take(block);
    if (entry.block != nullptr) return entry;
  }
  const std::lock_guard<std::mutex> lock(programBlocks().mutex);
  return programBlocks().table.take(block);
}

void* newBlock(std::size_t bytes, BlockTable& table) {
  table.reserveOne();
  Counted counted(Kind::block, bytes);
  void* block =
      bytes < kLargeBlockBytes ? heapMemory(std::max<std::size_t>(bytes, 1)) : mapMemory(bytes);
  table.insert(block, bytes);
  counted.keep();
  return block;
}

void freeBlock(const BlockTable::Entry& entry) {
  if (entry.size < kLargeBlockBytes) {
    heapFree(entry.block);
  } else {
    unmap(entry.block, entry.size);
  }
  countGone(Kind::block);
}

}  // namespace

void* createBlock(std::size_t bytes) {
  if (Scope* scope = Scope::current()) return newBlock(bytes, scope->blocks);
  const std::lock_guard<std::mutex> lock(programBlocks().mutex);
  return newBlock(bytes, programBlocks().table);
}

void freeBlocks(const BlockTable& blocks) {
  for (const BlockTable::Entry& entry : blocks) {
    if (entry.block != nullptr) freeBlock(entry);
  }
}

}  // namespace vlhost

extern "C" {

VLHOST_API void* vlMalloc(size_t size) {
  return vlhost::createBlock(size);
}

VLHOST_API void vlFree(void* block) {
  if (block == nullptr) return;
  const vlhost::BlockTable::Entry entry = vlhost::takeBlock(block);
  if (entry.block != nullptr) vlhost::freeBlock(entry);  // anything else went with its call
}

}  // extern "C"
