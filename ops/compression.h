/// What compression of a file as a whole and compression of a variable have in common.
#pragma once

#include <array>

#include "cdf/items.h"
#include "convert/code_names.h"

namespace tarvik::ops {

inline constexpr long NO_COMPRESSION = 0;
inline constexpr long RLE_COMPRESSION = 1;
inline constexpr long HUFF_COMPRESSION = 2;
inline constexpr long AHUFF_COMPRESSION = 3;
inline constexpr long GZIP_COMPRESSION = 5;

/// Room for as many parameters as the library may write; the first is the only one that counts.
using CompressionParameters = std::array<long, CDF_MAX_PARMS>;

struct Compression {
  long type = NO_COMPRESSION;
  CompressionParameters parameters{};
  long percentage = 0;
};

/// The type's name. Raises `unknown` for a type that the gateway does not know.
const char* compressionName(long type, const UnknownCode& unknown);

/// The parameters of a type for which the user gave none. Raises "unspecifiedGzipCompressionLevel",
/// or "unrecognizedCompressionType" of setCompression, for files and variables alike.
CompressionParameters defaultParameters(long type);

}  // namespace tarvik::ops
