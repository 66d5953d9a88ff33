#include "cdf/zlib/stream.h"

#include <algorithm>
#include <cstdlib>

namespace tarvik::zlib {

namespace {

voidpf allocateDefault(voidpf, uInt items, uInt size) {
  return std::malloc(static_cast<std::size_t>(items) * size);
}

void releaseDefault(voidpf, voidpf memory) {
  std::free(memory);
}

}  // namespace

// The two factors are 32 bits wide: large memory is asked for in units of 4 KiB.
void* allocate(z_stream& stream, std::size_t bytes) {
  constexpr std::size_t unit = 4096;
  if (bytes <= UINT32_MAX) return stream.zalloc(stream.opaque, 1, static_cast<uInt>(bytes));
  return stream.zalloc(stream.opaque, static_cast<uInt>((bytes + unit - 1) / unit), unit);
}

void release(z_stream& stream, void* memory) {
  if (memory != nullptr) stream.zfree(stream.opaque, memory);
}

int prepare(z_stream* stream, int windowBits, const char* version, int streamSize) {
  if (version == nullptr || version[0] != ZLIB_VERSION[0] ||
      streamSize != static_cast<int>(sizeof(z_stream))) {
    return Z_VERSION_ERROR;
  }
  if (stream == nullptr) return Z_STREAM_ERROR;
  stream->msg = nullptr;
  if (stream->zalloc == nullptr) {
    stream->zalloc = &allocateDefault;
    stream->opaque = nullptr;
  }
  if (stream->zfree == nullptr) stream->zfree = &releaseDefault;
  return windowBits == kGzip ? Z_OK : Z_STREAM_ERROR;
}

bool grow(z_stream& stream, Bytes& bytes, std::size_t capacity) {
  auto* const larger = static_cast<std::uint8_t*>(allocate(stream, capacity));
  if (larger == nullptr) return false;
  std::copy_n(bytes.first, bytes.size, larger);
  release(stream, bytes.first);
  bytes.first = larger;
  bytes.capacity = capacity;
  return true;
}

void discard(z_stream& stream, Bytes& bytes) {
  release(stream, bytes.first);
  bytes = {};
}

bool passOn(z_stream& stream, Bytes& bytes) {
  const std::size_t count = std::min<std::size_t>(bytes.size - bytes.passed, stream.avail_out);
  std::copy_n(bytes.first + bytes.passed, count, stream.next_out);
  bytes.passed += count;
  advanceOutput(stream, count);
  return bytes.passed == bytes.size;
}

}  // namespace tarvik::zlib
