/// The CDF library as the gateway sees it: its functions, its item codes, and CDFlib with the types
/// of its arguments checked.
#pragma once

#include <array>
#include <boost/container/small_vector.hpp>
#include <cstddef>
#include <type_traits>

#include "cdf/functions.h"

namespace tarvik {

#define CDF_ITEM(name, value) inline constexpr long name = value;
#include "cdf/items.def"
#undef CDF_ITEM

inline constexpr long zMODEon2 = 2;

inline constexpr long VARY = -1;
inline constexpr long NOVARY = 0;

inline constexpr long NO_SPARSERECORDS = 0;

inline constexpr long NO_COMPRESSION = 0;
inline constexpr long RLE_COMPRESSION = 1;
inline constexpr long HUFF_COMPRESSION = 2;
inline constexpr long AHUFF_COMPRESSION = 3;
inline constexpr long GZIP_COMPRESSION = 5;

inline constexpr long ROW_MAJOR = 1;
inline constexpr long COLUMN_MAJOR = 2;

inline constexpr long SINGLE_FILE = 1;
inline constexpr long MULTI_FILE = 2;

inline constexpr long GLOBAL_SCOPE = 1;
inline constexpr long VARIABLE_SCOPE = 2;

/// Which entries of an attribute the entry functions act on.
inline constexpr int globalEntries = 1;
inline constexpr int zEntries = 3;

/// Says to the record functions that the number is a z-variable's.
inline constexpr int zVariable = 1;

inline constexpr std::size_t CDF_MAX_DIMS = 10;
inline constexpr std::size_t CDF_MAX_PARMS = 5;
inline constexpr std::size_t CDF_PATHNAME_LEN = 512;
inline constexpr std::size_t CDF_VAR_NAME_LEN256 = 256;
inline constexpr std::size_t CDF_ATTR_NAME_LEN256 = 256;
inline constexpr std::size_t CDF_COPYRIGHT_LEN = 256;

/// Room for as many parameters of a compression as the library may write; the first is the only one
/// that counts.
using CompressionParameters = std::array<long, CDF_MAX_PARMS>;

/// Buffers for the library's texts, one longer than the longest text.
using NameBuffer = std::array<char, CDF_VAR_NAME_LEN256 + 1>;
using PathBuffer = std::array<char, CDF_PATHNAME_LEN + 1>;
using CopyrightBuffer = std::array<char, CDF_COPYRIGHT_LEN + 1>;
/// The header promises status texts of 120 characters; version 3.9.1 has some of 167 and copies up
/// to 200.
using StatusTextBuffer = std::array<char, 256>;

static_assert(CDF_VAR_NAME_LEN256 == CDF_ATTR_NAME_LEN256, "one buffer serves both");

/// Numbers, one for each dimension and up to two more. As many as the library allows need no memory
/// of the heap.
using Longs = boost::container::small_vector<long, CDF_MAX_DIMS + 2>;
using Sizes = boost::container::small_vector<std::size_t, CDF_MAX_DIMS + 2>;

namespace cdf {

/// The library reads every integer in an item list as a long. An int there is undefined behaviour
/// that shows only when the argument lies on the stack; here it does not compile.
template <typename T>
inline constexpr bool isListArgument = std::is_same_v<T, long> || std::is_pointer_v<T>;

/// A call that needs no file. The closing NULL_ is added.
template <typename... Arguments>
CDFstatus call(long function, Arguments... arguments) {
  static_assert((isListArgument<Arguments> && ...), "an item list holds longs and pointers only");
  return CDFlib(function, arguments..., NULL_);
}

/// A call on a file. The list goes on under SELECT_, so further selections may follow directly.
template <typename... Arguments>
CDFstatus onFile(CDFid file, Arguments... arguments) {
  return call(SELECT_, CDF_, file, arguments...);
}

/// A call on a z-variable of a file.
template <typename... Arguments>
CDFstatus onVariable(CDFid file, long variable, Arguments... arguments) {
  return call(SELECT_, CDF_, file, zVAR_, variable, arguments...);
}

/// A call on an attribute of a file.
template <typename... Arguments>
CDFstatus onAttribute(CDFid file, long attribute, Arguments... arguments) {
  return call(SELECT_, CDF_, file, ATTR_, attribute, arguments...);
}

/// The bytes of one element of each of the library's datatypes.
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

/// What the library reports about a z-variable, and what one is created with.
struct VariableDescription {
  NameBuffer name{};
  long datatype = 0;
  /// The string length for CDF_CHAR and CDF_UCHAR, 1 for every other datatype.
  long numElements = 0;
  long numDims = 0;
  Longs dimSizes = Longs(CDF_MAX_DIMS);  ///< One for each dimension, in the library's order.
  long recVary = 0;
  Longs dimVarys = Longs(CDF_MAX_DIMS);  ///< As dimSizes.
};

/// A run of records, each cut to a block of the dimensions, with intervals. The lists are in the
/// library's order, one entry for each dimension.
struct Hyperslab {
  long recordStart;
  long recordCount;
  long recordInterval;
  Longs indices;
  Longs counts;
  Longs intervals;
};

inline CDFstatus getValue(CDFid file, long variable, long record, const Longs& indices,
                          void* value) {
  return onVariable(file, variable, zVAR_RECNUMBER_, record, zVAR_DIMINDICES_, indices.data(), GET_,
                    zVAR_DATA_, value);
}

inline CDFstatus putValue(CDFid file, long variable, long record, const Longs& indices,
                          const void* value) {
  return onVariable(file, variable, zVAR_RECNUMBER_, record, zVAR_DIMINDICES_, indices.data(), PUT_,
                    zVAR_DATA_, value);
}

inline CDFstatus getRecord(CDFid file, long variable, long record, void* values) {
  return CDFgetVarRecordData(file, zVariable, variable, record, values);
}

inline CDFstatus putRecord(CDFid file, long variable, long record, const void* values) {
  return CDFputVarRecordData(file, zVariable, variable, record, values);
}

/// `function` is GET_ or PUT_.
template <long function, typename Values>
CDFstatus transferHyperslab(CDFid file, long variable, const Hyperslab& slab, Values* values) {
  return onVariable(file, variable, zVAR_RECNUMBER_, slab.recordStart, zVAR_RECCOUNT_,
                    slab.recordCount, zVAR_RECINTERVAL_, slab.recordInterval, zVAR_DIMINDICES_,
                    slab.indices.data(), zVAR_DIMCOUNTS_, slab.counts.data(), zVAR_DIMINTERVALS_,
                    slab.intervals.data(), function, zVAR_HYPERDATA_, values);
}
inline constexpr auto* getHyperslab = transferHyperslab<GET_, void>;
inline constexpr auto* putHyperslab = transferHyperslab<PUT_, const void>;

}  // namespace cdf

}  // namespace tarvik
