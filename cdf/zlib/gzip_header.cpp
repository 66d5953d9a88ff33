#include "cdf/zlib/gzip_header.h"

#include <libdeflate.h>
#include <zlib.h>

namespace tarvik::zlib {

namespace {

constexpr std::uint32_t kFixedBytes = 10;
constexpr std::uint8_t kUnknownFlags = 0xe0;

}  // namespace

const char* GzipHeader::take(std::uint8_t byte) {
  if (part_ == Part::checksum) return takeChecksum(byte);
  crc_ = libdeflate_crc32(crc_, &byte, 1);
  ++taken_;
  switch (part_) {
    case Part::fixed:
      return takeFixed(byte);
    case Part::extraLength:
      length_ |= static_cast<std::uint32_t>(byte) << (8 * (taken_ - 1));
      if (taken_ == 2) goOn();
      break;
    case Part::extra:
      if (taken_ == length_) goOn();
      break;
    default:  // A name or a comment ends with a NUL.
      if (byte == 0) goOn();
  }
  return nullptr;
}

// zlib looks at two bytes at a time.
const char* GzipHeader::takeFixed(std::uint8_t byte) {
  if (taken_ == 2 && (previous_ != 0x1f || byte != 0x8b)) return "incorrect header check";
  if (taken_ == 4) {
    if (previous_ != Z_DEFLATED) return "unknown compression method";
    if ((byte & kUnknownFlags) != 0) return "unknown header flags set";
    flags_ = byte;
  }
  previous_ = byte;
  if (taken_ == kFixedBytes) goOn();
  return nullptr;
}

const char* GzipHeader::takeChecksum(std::uint8_t byte) {
  if (++taken_ == 1) {
    previous_ = byte;
    return nullptr;
  }
  goOn();
  const std::uint32_t stored = previous_ | static_cast<std::uint32_t>(byte) << 8;
  return stored == (crc_ & 0xffff) ? nullptr : "header crc mismatch";
}

void GzipHeader::goOn() {
  constexpr std::uint8_t kHasChecksum = 2, kHasExtra = 4, kHasName = 8, kHasComment = 16;
  const bool has[] = {true,
                      (flags_ & kHasExtra) != 0,
                      length_ != 0,
                      (flags_ & kHasName) != 0,
                      (flags_ & kHasComment) != 0,
                      (flags_ & kHasChecksum) != 0,
                      true};
  int next = static_cast<int>(part_) + 1;
  while (!has[next]) ++next;
  part_ = static_cast<Part>(next);
  taken_ = 0;
}

}  // namespace tarvik::zlib
