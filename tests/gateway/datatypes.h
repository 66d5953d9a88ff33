// The datatypes of the library that the gateway serves, as tests see them. Tests that are compiled
// for the extended plug-in find its rows here too.
#pragma once

#include <cstddef>

#include "host/array.h"

struct DatatypeRow {
  double code;
  const char* name;  ///< As inquiries give it.
  vlClassID classId;
  std::size_t bytes;      ///< Of one element.
  std::size_t hostCount;  ///< Host elements of one element.
};

inline constexpr DatatypeRow datatypes[] = {
#ifdef TARVIK_EXTENDED
    {8, "cdf_int8", vlINT64_CLASS, 8, 1},     {33, "cdf_time_tt2000", vlINT64_CLASS, 8, 1},
#endif
    {1, "cdf_int1", vlINT8_CLASS, 1, 1},      {2, "cdf_int2", vlINT16_CLASS, 2, 1},
    {4, "cdf_int4", vlINT32_CLASS, 4, 1},     {11, "cdf_uint1", vlUINT8_CLASS, 1, 1},
    {12, "cdf_uint2", vlUINT16_CLASS, 2, 1},  {14, "cdf_uint4", vlUINT32_CLASS, 4, 1},
    {21, "cdf_real4", vlSINGLE_CLASS, 4, 1},  {22, "cdf_real8", vlDOUBLE_CLASS, 8, 1},
    {31, "cdf_epoch", vlDOUBLE_CLASS, 8, 1},  {32, "cdf_epoch16", vlDOUBLE_CLASS, 16, 2},
    {41, "cdf_byte", vlINT8_CLASS, 1, 1},     {44, "cdf_float", vlSINGLE_CLASS, 4, 1},
    {45, "cdf_double", vlDOUBLE_CLASS, 8, 1}, {51, "cdf_char", vlCHAR_CLASS, 1, 1},
    {52, "cdf_uchar", vlCHAR_CLASS, 1, 1},
};
