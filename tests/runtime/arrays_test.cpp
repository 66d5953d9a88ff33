#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>
#include <sys/resource.h>
#include <tuple>
#include <unistd.h>
#include <vector>

#include "host/plugin.h"
#include "tests/runtime/support.h"

extern "C" vlArray* cellOfTextInC(const char* text);

namespace {

using Dims = std::vector<std::size_t>;
using vlhost::Array;
using ArraysTest = HostTest;
constexpr std::size_t kMegabyte = std::size_t{1} << 20;

Dims dimsOf(const Array& array) {
  const std::size_t* dims = vlGetDimensions(array.get());
  return {dims, dims + vlGetNumberOfDimensions(array.get())};
}

Array numeric(const Dims& dims, vlClassID classId) {
  return Array(vlCreateNumericArray(dims.size(), dims.data(), classId, vlREAL));
}

TEST_F(ArraysTest, DimensionsAreCompletedToTwoAndKeptFromThere) {
  const std::tuple<Dims, Dims, std::size_t> kRows[] = {
      {{}, {0, 0}, 0},
      {{0}, {0, 1}, 0},
      {{7}, {7, 1}, 7},
      {{2, 3, 1}, {2, 3, 1}, 6},
      {{4, 0, 5}, {4, 0, 5}, 0},
      {{SIZE_MAX, SIZE_MAX, 0}, {SIZE_MAX, SIZE_MAX, 0}, 0},
      {Dims(1000, 1), Dims(1000, 1), 1}};
  const double memory[7] = {};
  for (const auto& [given, kept, count] : kRows) {
    for (const Array& array :
         {numeric(given, vlINT16_CLASS), Array(vlCreateCharArray(given.size(), given.data())),
          Array(vlCreateLogicalArray(given.size(), given.data())),
          vlhost::borrow(given, vlDOUBLE_CLASS, memory)}) {
      EXPECT_EQ(dimsOf(array), kept);
      EXPECT_EQ(vlGetNumberOfElements(array.get()), count);
      const bool logical = vlGetClassID(array.get()) == vlLOGICAL_CLASS;
      EXPECT_EQ(vlGetLogicals(array.get()), logical ? vlGetData(array.get()) : nullptr);
    }
  }
}

TEST_F(ArraysTest, EveryClassHasItsName) {
  const std::pair<vlClassID, const char*> kRows[] = {
      {vlDOUBLE_CLASS, "double"}, {vlSINGLE_CLASS, "single"}, {vlINT8_CLASS, "int8"},
      {vlUINT8_CLASS, "uint8"},   {vlINT16_CLASS, "int16"},   {vlUINT16_CLASS, "uint16"},
      {vlINT32_CLASS, "int32"},   {vlUINT32_CLASS, "uint32"}, {vlINT64_CLASS, "int64"},
      {vlUINT64_CLASS, "uint64"}};
  for (const auto& [id, name] : kRows) EXPECT_STREQ(vlGetClassName(numeric({1}, id).get()), name);
  EXPECT_STREQ(vlGetClassName(Array(vlCreateString("")).get()), "char");
  EXPECT_STREQ(vlGetClassName(Array(vlCreateLogicalArray(0, nullptr)).get()), "logical");
  EXPECT_STREQ(vlGetClassName(Array(vlCreateCellMatrix(0, 0)).get()), "cell");
}

TEST_F(ArraysTest, WhatCannotBeMadeIsRefused) {
  const auto expectBad = [](auto code) { EXPECT_EQ(errorOf(code), "VORLAN:badArray"); };
  for (const vlClassID id : {vlUNKNOWN_CLASS, vlCELL_CLASS, vlSTRUCT_CLASS, vlCHAR_CLASS,
                             static_cast<vlClassID>(vlUINT64_CLASS + 1)}) {
    expectBad([id] { vlCreateNumericMatrix(1, 1, id, vlREAL); });
    expectBad([id] { vlhost::borrow({1, 1}, id, &id); });
  }
  expectBad([] { vlCreateNumericMatrix(1, 1, vlLOGICAL_CLASS, vlREAL); });
  expectBad([] { vlCreateNumericMatrix(1, 1, vlDOUBLE_CLASS, vlCOMPLEX); });
  expectBad([] { vlhost::borrow({1, 1}, vlDOUBLE_CLASS, nullptr); });
}

TEST_F(ArraysTest, TextIsBytesInWideElements) {
  const Array row(vlCreateString("abc\xff")), empty(vlCreateString(""));
  EXPECT_EQ(dimsOf(row), (Dims{1, 4}));
  EXPECT_EQ(dimsOf(empty), (Dims{1, 0}));
  auto* elements = static_cast<vlChar*>(vlGetData(row.get()));
  EXPECT_EQ(elements[3], 255);
  elements[0] = 0x1F41;  // 'A' in the low 8 bits
  elements[1] = 0;
  char* string = vlArrayToString(row.get());
  EXPECT_EQ(std::string(string, 5), std::string("A\0c\xff\0", 5));
  vlFree(string);
  EXPECT_EQ(vlArrayToString(numeric({1, 1}, vlUINT16_CLASS).get()), nullptr);
  EXPECT_EQ(vlGetNumberOfElements(vlhost::text({"a\0b", 3}).get()), 3u);
}

TEST_F(ArraysTest, ACellOwnsItsValuesAndRefusesWhatItCannotHold) {
  const Array owner(cellOfTextInC("abc")), number(vlCreateDoubleScalar(1));
  vlArray* const outer = owner.get();
  EXPECT_EQ(vlGetNumberOfElements(vlhost::cellValue(outer, 1)), 3u);
  vlArray* const inner = vlCreateCellMatrix(1, 1);
  vlArray* const innermost = vlCreateCellMatrix(1, 1);
  vlSetCell(inner, 0, innermost);
  for (int i = 0; i < 2; ++i) vlSetCell(innermost, 0, vlCreateString("the second in its place"));
  vlSetCell(outer, 1, inner);  // and the text is gone
  EXPECT_EQ(vlhost::holdings().arrays, 5u);
  const auto refused = [](vlArray* cell, std::size_t index, vlArray* value) {
    return errorOf([&] { vlSetCell(cell, index, value); }) == "VORLAN:badCell";
  };
  EXPECT_TRUE(refused(number.get(), 0, number.get()));
  EXPECT_TRUE(refused(outer, 2, number.get()));
  EXPECT_TRUE(refused(outer, SIZE_MAX, number.get()));
  EXPECT_TRUE(refused(outer, 0, nullptr));
  EXPECT_TRUE(refused(outer, 0, innermost));
  EXPECT_TRUE(refused(outer, 1, inner));
  EXPECT_TRUE(refused(outer, 0, outer));
  EXPECT_TRUE(refused(innermost, 0, outer));
  for (const std::size_t index : {0u, 1u, 2u}) {
    EXPECT_EQ(vlhost::cellValue(outer, index), index == 1 ? inner : nullptr);
  }
  EXPECT_EQ(vlhost::cellValue(inner, 0), innermost);
}

TEST_F(ArraysTest, DeepNestingIsDestroyedWithoutRecursion) {
  Array outermost(vlCreateCellMatrix(1, 1));
  for (int depth = 0; depth < 300000; ++depth) {
    Array next(vlCreateCellMatrix(2, 1));
    vlSetCell(next.get(), 1, outermost.release());
    outermost = std::move(next);
  }
}

TEST_F(ArraysTest, ErrorsCarryTheirTextAndWarningsOutsideCallsAreShown) {
  for (const auto raise : {vlErrMsgIdAndTxt, vlpErrMsgIdAndTxt}) {
    for (const std::size_t size : {0u, 255u, 256u, 257u, 65536u}) {
      const std::string text(size, 'x');
      const auto error =
          raised([&] { raise("VORLAN:id", "%s, %d of %u%%", text.c_str(), -1, ~0u); });
      EXPECT_EQ(error, std::pair(std::string("VORLAN:id"), text + ", -1 of 4294967295%"));
    }
  }
  testing::internal::CaptureStderr();
  vlWarningMsgIdAndTxt("VORLAN:id", "%d left", 2);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Warning: 2 left [VORLAN:id]\n");
  EXPECT_NE(vlpAtExit([] {}), 0);
}

TEST_F(ArraysTest, ArraysAreZeroedAndAlignedAtEverySize) {
  for (std::size_t power = 0; power <= 24; ++power) {
    for (const std::size_t size : {(1u << power) - 1, 1u << power, (1u << power) + 1}) {
      const std::size_t alignment = size < kMegabyte ? 16 : 2 * kMegabyte;
      for (int round = 0; round < 2; ++round) {  // the second gets what the first soiled
        const Array array(vlCreateNumericMatrix(size, 1, vlUINT8_CLASS, vlREAL));
        auto* data = static_cast<unsigned char*>(vlGetData(array.get()));
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(data) % alignment, 0u) << size;
        EXPECT_EQ(std::count(data, data + size, 0), static_cast<std::ptrdiff_t>(size));
        std::memset(data, 0xFF, size);
      }
    }
  }
}

/// The process's address space, in MiB.
std::size_t mappedMegabytes() {
  std::size_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  return pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) / kMegabyte;
}

Array megabytes(std::size_t count) {
  return Array(vlCreateNumericMatrix(kMegabyte, count, vlUINT8_CLASS, vlREAL));
}

TEST_F(ArraysTest, FreedLargeMemoryIsKeptWithinABound) {
  vlhost::giveBackSpareMemory();
  const std::size_t before = mappedMegabytes();
  const auto more = [before] { return mappedMegabytes() - before; };
  for (int i = 0; i < 3; ++i) {
    const Array array = megabytes(300);
    vlFree(vlMalloc(100 * kMegabyte + 1));
  }
  EXPECT_NEAR(static_cast<double>(more()), 402, 16);  // each was used again
  {
    const Array half = megabytes(200);
    EXPECT_NEAR(static_cast<double>(more()), 302, 16);  // cut from the 300
    const Array large = megabytes(500);
    EXPECT_LT(more(), 716u);  // for which the others went
  }
  EXPECT_LT(more(), 516u);
  megabytes(600).reset();
  EXPECT_LT(more(), 516u);
  vlhost::giveBackSpareMemory();
  EXPECT_LT(more(), 16u);

  rlimit limit{};
  getrlimit(RLIMIT_DATA, &limit);
  const rlimit limited{RLIM_INFINITY - 1, limit.rlim_max};
  setrlimit(RLIMIT_DATA, &limited);
  megabytes(100).reset();
  EXPECT_LT(more(), 16u);  // the library may need what the process may have
  setrlimit(RLIMIT_DATA, &limit);
}

TEST_F(ArraysTest, SizesBeyondAllMemoryAreRefused) {
  constexpr std::size_t kMax = PTRDIFF_MAX, kOne = 1;
  const std::vector<std::size_t> kRows[] = {{kMax / 2 + 1},
                                            {kMax + 1, 1},
                                            {kMax + 2, 1},
                                            {kOne << 59, 1},
                                            {kOne << 61, 1},
                                            {(kOne << 61) + 1},
                                            {(kOne << 32) + 1, kOne << 32},
                                            {65536, 65536, 65536, 65536, 1}};
  for (const auto& dims : kRows) {
    const auto numeric = [&] {
      vlCreateNumericArray(dims.size(), dims.data(), vlDOUBLE_CLASS, vlREAL);
    };
    EXPECT_EQ(errorOf(numeric), "VORLAN:outOfMemory") << testing::PrintToString(dims);
    EXPECT_EQ(errorOf([&] { vlCreateCharArray(dims.size(), dims.data()); }), "VORLAN:outOfMemory");
    EXPECT_EQ(errorOf([&] { vlCreateCellMatrix(dims[0], SIZE_MAX); }), "VORLAN:outOfMemory");
  }
  for (const std::size_t size : {kMax / 2 + 1, kMax, kMax + 1, SIZE_MAX - 1, SIZE_MAX}) {
    EXPECT_EQ(errorOf([&] { vlMalloc(size); }), "VORLAN:outOfMemory") << size;
  }
}

TEST_F(ArraysTest, BlocksAreFreedInAnyOrderAndOnlyOnce) {
  for (const std::size_t count : {1u, 11u, 12u, 13u, 1000u}) {  // a table holds 12 before it grows
    std::vector<void*> blocks(count);
    std::size_t size = 0;
    for (void*& block : blocks) ASSERT_NE(block = vlMalloc(size++), nullptr);
    EXPECT_EQ(vlhost::holdings().blocks, count);
    // Every third first: an order that is neither that of making nor its reverse.
    for (std::size_t start = 0; start < 3; ++start) {
      for (std::size_t i = start; i < count; i += 3) vlFree(blocks[i]);
    }
    EXPECT_EQ(vlhost::holdings().blocks, 0u);
    for (void* block : blocks) vlFree(block);
  }
  vlFree(nullptr);
}

}  // namespace
