#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "tests/runtime/support.h"

namespace {

using Dims = std::vector<std::size_t>;
using vlhost::Array;

class ArraysTest : public HostTest {};

Dims dimsOf(const vlArray* array) {
  const std::size_t* dims = vlGetDimensions(array);
  return {dims, dims + vlGetNumberOfDimensions(array)};
}

Array numeric(const Dims& dims, vlClassID classId) {
  return Array(vlCreateNumericArray(dims.size(), dims.data(), classId, vlREAL));
}

TEST_F(ArraysTest, ClassesHaveNamesAndElementSizes) {
  const struct {
    vlClassID id;
    const char* name;
    std::size_t size;
  } kRows[] = {
      {vlDOUBLE_CLASS, "double", 8}, {vlSINGLE_CLASS, "single", 4}, {vlINT8_CLASS, "int8", 1},
      {vlUINT8_CLASS, "uint8", 1},   {vlINT16_CLASS, "int16", 2},   {vlUINT16_CLASS, "uint16", 2},
      {vlINT32_CLASS, "int32", 4},   {vlUINT32_CLASS, "uint32", 4}, {vlINT64_CLASS, "int64", 8},
      {vlUINT64_CLASS, "uint64", 8},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(row.name);
    const Array array = numeric({3, 5}, row.id);
    EXPECT_EQ(vlGetClassID(array.get()), row.id);
    EXPECT_STREQ(vlGetClassName(array.get()), row.name);
    EXPECT_EQ(vlGetLogicals(array.get()), nullptr);
    // An element too small would make this write beyond the array, which the sanitizer sees.
    std::memset(vlGetData(array.get()), 0xFF, 15 * row.size);
  }
  const Array logical(vlCreateLogicalArray(0, nullptr)), cell(vlCreateCellMatrix(2, 1));
  EXPECT_STREQ(vlGetClassName(logical.get()), "logical");
  EXPECT_EQ(vlGetLogicals(logical.get()), vlGetData(logical.get()));
  EXPECT_STREQ(vlGetClassName(cell.get()), "cell");
  EXPECT_STREQ(vlGetClassName(vlhost::text("").get()), "char");
}

TEST_F(ArraysTest, DimensionsAreCompletedToTwoAndKeptFromThere) {
  const struct {
    Dims given, kept;
    std::size_t count;
  } kRows[] = {
      {{}, {0, 0}, 0},
      {{0}, {0, 1}, 0},
      {{1}, {1, 1}, 1},
      {{7}, {7, 1}, 7},
      {{2, 3}, {2, 3}, 6},
      {{2, 3, 1}, {2, 3, 1}, 6},
      {{1, 1, 1, 1}, {1, 1, 1, 1}, 1},
      {{4, 0, 5}, {4, 0, 5}, 0},
      {{SIZE_MAX, SIZE_MAX, 0}, {SIZE_MAX, SIZE_MAX, 0}, 0},
      {Dims(1000, 1), Dims(1000, 1), 1},
  };
  for (const auto& row : kRows) {
    SCOPED_TRACE(testing::PrintToString(row.given));
    std::vector<Array> arrays;
    arrays.push_back(numeric(row.given, vlINT16_CLASS));
    arrays.emplace_back(vlCreateCharArray(row.given.size(), row.given.data()));
    arrays.emplace_back(vlCreateLogicalArray(row.given.size(), row.given.data()));
    const std::vector<double> memory(7);
    arrays.push_back(vlhost::borrow(row.given, vlDOUBLE_CLASS, memory.data()));
    for (const Array& array : arrays) {
      EXPECT_EQ(dimsOf(array.get()), row.kept);
      EXPECT_EQ(vlGetNumberOfElements(array.get()), row.count);
      EXPECT_NE(vlGetData(array.get()), nullptr);
    }
  }
}

TEST_F(ArraysTest, WhatCannotBeMadeIsRefused) {
  const auto make = [](vlClassID id, vlComplexity complexity) {
    return errorOf([&] { vlCreateNumericMatrix(1, 1, id, complexity); });
  };
  for (const vlClassID id : {vlUNKNOWN_CLASS, vlCELL_CLASS, vlSTRUCT_CLASS, vlLOGICAL_CLASS,
                             vlCHAR_CLASS, static_cast<vlClassID>(vlUINT64_CLASS + 1)}) {
    EXPECT_EQ(make(id, vlREAL), "VORLAN:badArray") << id;
  }
  EXPECT_EQ(make(vlDOUBLE_CLASS, vlCOMPLEX), "VORLAN:badArray");

  const double value = 0;
  for (const vlClassID id : {vlUNKNOWN_CLASS, vlCELL_CLASS, vlSTRUCT_CLASS, vlCHAR_CLASS}) {
    EXPECT_EQ(errorOf([&] { vlhost::borrow({1, 1}, id, &value); }), "VORLAN:badArray") << id;
  }
  EXPECT_EQ(errorOf([] { vlhost::borrow({1, 1}, vlDOUBLE_CLASS, nullptr); }), "VORLAN:badArray");
}

TEST_F(ArraysTest, TextIsBytesInWideElements) {
  std::string bytes;
  for (int byte = 1; byte < 256; ++byte) bytes += static_cast<char>(byte);
  const Array row(vlCreateString(bytes.c_str()));
  EXPECT_EQ(dimsOf(row.get()), (Dims{1, 255}));
  auto* elements = static_cast<vlChar*>(vlGetData(row.get()));
  EXPECT_EQ(elements[254], 255);

  elements[0] = 0x1F41;  // 'A' in the low 8 bits
  elements[2] = 0;
  bytes[0] = 'A';
  bytes[2] = '\0';
  char* string = vlArrayToString(row.get());
  EXPECT_EQ(std::string(string, 256), bytes + '\0');
  vlFree(string);

  EXPECT_EQ(vlGetNumberOfElements(vlhost::text({"a\0b", 3}).get()), 3u);
  const Array empty(vlCreateString(""));
  EXPECT_EQ(dimsOf(empty.get()), (Dims{1, 0}));
  string = vlArrayToString(empty.get());
  EXPECT_STREQ(string, "");
  vlFree(string);
  EXPECT_EQ(vlArrayToString(numeric({1, 1}, vlUINT16_CLASS).get()), nullptr);
}

TEST_F(ArraysTest, ScalarsAndBorrowedArraysShowTheirValues) {
  const Array scalar(vlCreateDoubleScalar(-2.5));
  EXPECT_EQ(*static_cast<double*>(vlGetData(scalar.get())), -2.5);
  EXPECT_EQ(dimsOf(scalar.get()), (Dims{1, 1}));

  const vlLogical flags[] = {1, 0, 1};
  const Array borrowed = vlhost::borrow({3}, vlLOGICAL_CLASS, flags);
  EXPECT_EQ(vlGetLogicals(borrowed.get()), flags);
}

}  // namespace
