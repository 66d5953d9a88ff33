/// Large memory: mappings in huge pages of 2 MiB where the system has them. Those that are freed
/// are kept for the next request, within a bound, as filling fresh pages costs as much as reading
/// data into them; the system may take their contents whenever it needs the memory. Everything here
/// is safe on several threads.
#pragma once

#include <cstddef>

namespace vlhost {

/// From this size on, memory is mapped for itself: filling 1 MiB of a fresh huge page takes a fifth
/// of what it takes in fresh small pages, and half of the page at most is wasted.
constexpr std::size_t kLargeBytes = std::size_t{1} << 20;

/// Memory aligned to huge pages, whose contents are whatever they are; never null, raises
/// "VORLAN:outOfMemory" instead.
void* mapMemory(std::size_t bytes);
/// The same, zeroed.
void* mapZeroed(std::size_t bytes);
/// Frees what was mapped for a request of so many bytes.
void unmap(void* memory, std::size_t bytes);

}  // namespace vlhost
