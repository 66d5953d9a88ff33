/// The library's item codes and the other constants of its interface, as typed constants.
#pragma once

#include <array>
#include <cstddef>

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

}  // namespace tarvik
