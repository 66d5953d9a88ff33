/// The data of files that are compressed as a whole.
#pragma once

#include <cstdint>
#include <vector>

#include "cdf/screen/file_bytes.h"

namespace tarvik::cdf {

/// Of a file that is compressed as a whole no more than this is decoded.
constexpr std::int64_t mostOfImage = std::int64_t{256} << 20;

/// Compressed data in a file.
struct Stream {
  FileBytes* bytes;
  std::uint64_t place;
  std::int64_t size;
  std::int64_t uncompressedSize;  ///< As the file has it, without the marks at its start.
};

/// What is known of the file that the data stand for.
struct Image {
  /// Its start, with zeros for the marks.
  std::vector<std::uint8_t> bytes = {};
  bool isWhole = false;
  /// The library crashes in decoding the data.
  bool isDangerous = false;
  /// zlib refuses the data.
  bool isRefused = false;
};

Image decodeRunLengths(const Stream& stream);
Image inflateStream(const Stream& stream);

}  // namespace tarvik::cdf
