/// What compression of a file as a whole and compression of a variable have in common.
#pragma once

#include "cdf/library.h"
#include "convert/code_names.h"

namespace tarvik::ops {

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
