// Sizes, zeroes, and memory that cannot be had.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <unistd.h>
#include <vector>

#include "tests/runtime/support.h"

namespace {

using vlhost::Array;

class MemoryTest : public HostTest {};

constexpr std::size_t kMegabyte = std::size_t{1} << 20;

Array bytesArray(std::size_t count) {
  return Array(vlCreateNumericMatrix(count, 1, vlUINT8_CLASS, vlREAL));
}

std::size_t addressSpace() {
  std::size_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  return pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

TEST_F(MemoryTest, ArraysAreZeroedAndAlignedAtEverySize) {
  for (std::size_t power = 0; power <= 23; ++power) {
    for (const std::size_t size : {(1u << power) - 1, 1u << power, (1u << power) + 1}) {
      SCOPED_TRACE(size);
      const std::size_t alignment = size < kMegabyte ? 16 : 2 * kMegabyte;
      for (int round = 0; round < 2; ++round) {  // the second gets what the first soiled
        const Array array = bytesArray(size);
        auto* data = static_cast<unsigned char*>(vlGetData(array.get()));
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(data) % alignment, 0u);
        EXPECT_TRUE(std::all_of(data, data + size, [](unsigned char byte) { return byte == 0; }));
        std::memset(data, 0xFF, size);
      }
    }
  }
}

TEST_F(MemoryTest, LargeArraysAndBlocksGoBackToTheSystem) {
  const std::size_t before = addressSpace();
  for (int i = 0; i < 64; ++i) {
    bytesArray(3 * kMegabyte + 1);
    vlFree(vlMalloc(3 * kMegabyte + 1));
  }
  EXPECT_LT(addressSpace(), before + 64 * kMegabyte);
}

TEST_F(MemoryTest, SizesBeyondAllMemoryAreRefused) {
  const std::size_t kMax = PTRDIFF_MAX;
  const struct {
    std::vector<std::size_t> dims;
    vlClassID id;
  } kRows[] = {
      {{kMax, 1}, vlUINT8_CLASS},
      {{kMax + 1, 1}, vlUINT8_CLASS},
      {{SIZE_MAX}, vlUINT8_CLASS},
      {{kMax / 2, 1}, vlUINT16_CLASS},
      {{kMax / 2 + 1, 1}, vlUINT16_CLASS},
      {{std::size_t{1} << 59, 1}, vlDOUBLE_CLASS},  // 2^62 bytes
      {{std::size_t{1} << 60, 1}, vlDOUBLE_CLASS},
      {{std::size_t{1} << 61, 1}, vlDOUBLE_CLASS},  // 2^64 bytes: the product is 0
      {{(std::size_t{1} << 61) + 1, 1}, vlDOUBLE_CLASS},
      {{std::size_t{1} << 32, std::size_t{1} << 32}, vlINT8_CLASS},
      {{(std::size_t{1} << 32) + 1, std::size_t{1} << 32}, vlINT8_CLASS},
      {{1u << 16, 1u << 16, 1u << 16, 1u << 16, 1}, vlSINGLE_CLASS},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(testing::PrintToString(row.dims));
    const std::size_t n = row.dims.size();
    EXPECT_EQ(errorOf([&] { vlCreateNumericArray(n, row.dims.data(), row.id, vlREAL); }),
              "VORLAN:outOfMemory");
    EXPECT_EQ(errorOf([&] { vlCreateCharArray(n, row.dims.data()); }), "VORLAN:outOfMemory");
    EXPECT_EQ(errorOf([&] { vlCreateCellMatrix(row.dims[0], SIZE_MAX); }), "VORLAN:outOfMemory");
  }
  for (const std::size_t size : {kMax / 2 + 1, kMax, kMax + 1, SIZE_MAX - 1, SIZE_MAX}) {
    EXPECT_EQ(errorOf([&] { vlMalloc(size); }), "VORLAN:outOfMemory") << size;
  }
}

TEST_F(MemoryTest, BlocksAreFreedInAnyOrderAndOnlyOnce) {
  for (const std::size_t count : {1u, 11u, 12u, 13u, 1000u}) {  // a table holds 12 before it grows
    std::vector<void*> blocks;
    for (std::size_t i = 0; i < count; ++i) {
      blocks.push_back(vlMalloc(i % 3 == 0 ? 0 : i));
      ASSERT_NE(blocks.back(), nullptr);
    }
    EXPECT_EQ(vlhost::holdings().blocks, count);
    // Every third first: an order that is neither that of making nor its reverse.
    for (std::size_t start = 0; start < 3; ++start) {
      for (std::size_t i = start; i < count; i += 3) vlFree(blocks[i]);
    }
    EXPECT_EQ(vlhost::holdings().blocks, 0u);
    for (void* block : blocks) vlFree(block);
  }
  vlFree(nullptr);
  EXPECT_EQ(vlhost::holdings().blocks, 0u);
}

TEST_F(MemoryTest, TheChosenAllocationFailsOnce) {
  vlhost::failAllocation(1);
  const Array first = vlhost::text("the first");
  EXPECT_EQ(errorOf([] { vlMalloc(1); }), "VORLAN:outOfMemory");
  vlFree(vlMalloc(1));
  vlhost::failAllocation(0);
  vlhost::failAllocation(-1);
  const Array second(vlCreateDoubleScalar(1));
}

}  // namespace
