/// The library's datatypes and the bytes of one element of each.
#pragma once

namespace tarvik::cdf {

struct DatatypeSize {
  long datatype;
  long bytes;
};

inline constexpr DatatypeSize datatypeSizes[] = {
    {1, 1},  {2, 2},   {4, 4},  {8, 8},  {11, 1}, {12, 2}, {14, 4}, {21, 4}, {22, 8},
    {31, 8}, {32, 16}, {33, 8}, {41, 1}, {44, 4}, {45, 8}, {51, 1}, {52, 1},
};

/// The bytes of one element; 0 for a code that is no datatype.
constexpr long datatypeBytes(long datatype) {
  for (const DatatypeSize& row : datatypeSizes) {
    if (row.datatype == datatype) {
      return row.bytes;
    }
  }
  return 0;
}

constexpr bool isText(long datatype) {
  return datatype == 51 || datatype == 52;
}

}  // namespace tarvik::cdf
