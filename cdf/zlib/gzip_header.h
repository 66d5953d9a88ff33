/// Reads the header of a gzip member, byte by byte, with the checks that zlib makes.
#pragma once

#include <cstdint>

namespace tarvik::zlib {

class GzipHeader {
 public:
  /// Takes the next byte of a header that is not complete. Gives zlib's message if the header is
  /// invalid, otherwise null.
  const char* take(std::uint8_t byte);
  bool isComplete() const { return part_ == Part::end; }

 private:
  enum class Part { fixed, extraLength, extra, name, comment, checksum, end };

  const char* takeFixed(std::uint8_t byte);
  const char* takeChecksum(std::uint8_t byte);
  /// Goes to the first of the parts behind the current one that the header has.
  void goOn();

  Part part_ = Part::fixed;
  std::uint32_t taken_ = 0;   ///< Bytes of the current part.
  std::uint32_t length_ = 0;  ///< Of the extra field.
  std::uint8_t flags_ = 0;
  std::uint8_t previous_ = 0;
  std::uint32_t crc_ = 0;  ///< Of all bytes before the checksum.
};

}  // namespace tarvik::zlib
