#include <cstdint>

#include "tests/runtime/support.h"

extern "C" vlArray* cellOfTextInC(const char* text);

namespace {

using vlhost::Array;

class CellsTest : public HostTest {};

Array cell(std::size_t rows) {
  return Array(vlCreateCellMatrix(rows, 1));
}

TEST_F(CellsTest, ACellOwnsItsValuesAndShowsThem) {
  const Array outer = cell(3);
  vlArray* value = vlCreateDoubleScalar(1);
  vlSetCell(outer.get(), 1, value);
  EXPECT_EQ(vlhost::cellValue(outer.get(), 0), nullptr);
  EXPECT_EQ(vlhost::cellValue(outer.get(), 1), value);
  EXPECT_EQ(vlhost::cellValue(outer.get(), 3), nullptr);
  EXPECT_EQ(vlhost::cellValue(value, 0), nullptr);

  vlSetCell(outer.get(), 1, vlCreateString("another"));  // and the first value is gone
  EXPECT_EQ(vlhost::holdings().arrays, 2u);
}

TEST_F(CellsTest, WhatACellCannotHoldIsRefusedAndChangesNothing) {
  const Array outer = cell(2), other = cell(1), scalar(vlCreateDoubleScalar(1));
  vlArray* inner = vlCreateCellMatrix(1, 1);
  vlArray* innermost = vlCreateCellMatrix(1, 1);
  vlSetCell(outer.get(), 0, inner);
  vlSetCell(inner, 0, innermost);
  const struct {
    const char* name;
    vlArray* cell;
    std::size_t index;
    vlArray* value;
  } kRows[] = {
      {"no cell", scalar.get(), 0, other.get()},
      {"index behind the last", outer.get(), 2, scalar.get()},
      {"index far out", outer.get(), SIZE_MAX, scalar.get()},
      {"null", outer.get(), 1, nullptr},
      {"already in another cell", other.get(), 0, innermost},
      {"already in this cell", outer.get(), 1, inner},
      {"already at this place", outer.get(), 0, inner},
      {"itself", outer.get(), 1, outer.get()},
      {"what holds it", inner, 0, outer.get()},
      {"what holds it, further out", innermost, 0, outer.get()},
  };
  for (const auto& row : kRows) {
    EXPECT_EQ(errorOf([&] { vlSetCell(row.cell, row.index, row.value); }), "VORLAN:badCell")
        << row.name;
  }
  EXPECT_EQ(vlhost::cellValue(outer.get(), 0), inner);
  EXPECT_EQ(vlhost::cellValue(outer.get(), 1), nullptr);
  EXPECT_EQ(vlhost::cellValue(inner, 0), innermost);
}

TEST_F(CellsTest, DeepNestingIsDestroyedWithoutRecursion) {
  Array outermost = cell(1);
  for (int depth = 0; depth < 300000; ++depth) {
    Array next = cell(2);
    vlSetCell(next.get(), 1, outermost.release());
    outermost = std::move(next);
  }
}

TEST_F(CellsTest, AProgramInCUsesTheHost) {
  const Array made(cellOfTextInC("abc"));
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(vlGetNumberOfElements(vlhost::cellValue(made.get(), 0)), 3u);
}

}  // namespace
