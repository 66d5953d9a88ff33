#include "cdf/zlib/whole.h"

#include <libdeflate.h>

namespace tarvik::zlib {

namespace {

constexpr std::size_t kLeast = 18;  ///< A header and a trailer.
constexpr std::size_t kFlags = 3;   ///< Where the header has them.
constexpr std::size_t kMost = std::size_t{1} << 20;

/// The uncompressed size, where the input ends with the stream.
std::size_t sizeAtEnd(const z_stream& stream) {
  const std::uint8_t* const end = stream.next_in + stream.avail_in;
  std::size_t size = 0;
  for (int i = 1; i <= 4; ++i) size = size << 8 | end[-i];
  return size;
}

/// Decodes to exactly `size` bytes and takes the input if that succeeds. libdeflate checks the CRC
/// and the length.
bool decode(z_stream& stream, std::uint8_t* output, std::size_t size) {
  libdeflate_decompressor* const decompressor = libdeflate_alloc_decompressor();
  if (decompressor == nullptr) return false;
  std::size_t taken = 0;
  const libdeflate_result result = libdeflate_gzip_decompress_ex(
      decompressor, stream.next_in, stream.avail_in, output, size, &taken, nullptr);
  libdeflate_free_decompressor(decompressor);
  if (result != LIBDEFLATE_SUCCESS) return false;
  stream.adler = libdeflate_crc32(0, output, size);
  advanceInput(stream, taken);
  return true;
}

}  // namespace

bool Whole::take(z_stream& stream) {
  // libdeflate does not check the CRC that a header may have.
  if (stream.avail_in < kLeast || stream.next_in[kFlags] != 0) return false;
  const std::size_t size = sizeAtEnd(stream);
  if (size > kMost) return false;
  if (size <= stream.avail_out) {
    if (!decode(stream, stream.next_out, size)) return false;
    advanceOutput(stream, size);
    return true;
  }
  if (!grow(stream, decoded_, size)) return false;
  decoded_.size = size;
  if (decode(stream, decoded_.first, size)) return true;
  discard(stream, decoded_);
  return false;
}

}  // namespace tarvik::zlib
