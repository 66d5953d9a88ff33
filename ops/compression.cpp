#include "ops/compression.h"

namespace tarvik::ops {

namespace {

constexpr CodeName types[] = {
    {NO_COMPRESSION, "NO_COMPRESSION"},     {RLE_COMPRESSION, "RLE_COMPRESSION"},
    {HUFF_COMPRESSION, "HUFF_COMPRESSION"}, {AHUFF_COMPRESSION, "AHUFF_COMPRESSION"},
    {GZIP_COMPRESSION, "GZIP_COMPRESSION"},
};

constexpr UnknownCode unrecognizedType{"VORLAN:tarvik:setCompression:unrecognizedCompressionType",
                                       "Unrecognized compression type \"%d\"."};

}  // namespace

const char* compressionName(long type, const UnknownCode& unknown) {
  return nameOf(types, type, unknown);
}

CompressionParameters defaultParameters(long type) {
  nameOf(types, type, unrecognizedType);
  if (type == GZIP_COMPRESSION) {
    vlErrMsgIdAndTxt(
        "VORLAN:tarvik:unspecifiedGzipCompressionLevel",
        "When specifying GZIP_COMPRESSION, a compression level must also be supplied.");
  }
  return {};  // RLE_OF_ZEROS and OPTIMAL_ENCODING_TREES are 0.
}

}  // namespace tarvik::ops
