#include "cdf/zlib/stream.h"

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

}  // namespace tarvik::zlib
