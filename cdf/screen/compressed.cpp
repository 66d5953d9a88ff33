#include "cdf/screen/compressed.h"

#include <algorithm>
#include <new>

#define ZLIB_CONST
#include <zlib.h>

#include "cdf/screen/file_records.h"

namespace tarvik::cdf {

namespace {

constexpr int gzipFormat = 31;  // What zlib calls windowBits.

/// zlib's state while it decodes.
class Inflater {
 public:
  Inflater() {
    if (inflateInit2(&state, gzipFormat) != Z_OK) {
      throw std::bad_alloc();
    }
  }
  Inflater(const Inflater&) = delete;
  Inflater& operator=(const Inflater&) = delete;
  ~Inflater() { inflateEnd(&state); }

  z_stream state = {};
};

}  // namespace

// A zero is followed by how many more of them there are. Run lengths that add up to another size
// than the uncompressed one corrupt the library's memory.
Image decodeRunLengths(const Stream& stream) {
  Fields data(*stream.bytes, stream.place, false);
  std::int64_t place = FileRecords::first, left = stream.size;
  const std::int64_t end = place + stream.uncompressedSize;
  Image image;
  image.bytes.resize(static_cast<std::size_t>(std::min(end, mostOfImage)));
  for (; left > 0; --left, ++place) {
    const std::uint8_t byte = data.byte();
    if (byte == 0) {
      place += data.byte();
      --left;
    } else if (const auto index = static_cast<std::size_t>(place); index < image.bytes.size()) {
      image.bytes[index] = byte;
    }
  }
  image.isWhole = end <= mostOfImage;
  image.isDangerous = left != 0 || place != end;
  return image;
}

// The library takes what comes out, whatever the uncompressed size says. ISA-L decodes a few
// streams that zlib refuses, so that nothing is known of what the library would take out of those.
Image inflateStream(const Stream& stream) {
  Image image;
  Inflater inflater;
  z_stream& state = inflater.state;
  std::uint64_t place = stream.place;
  const std::uint64_t end = place + static_cast<std::uint64_t>(stream.size);
  const std::int64_t expected = std::min(stream.uncompressedSize, mostOfImage) + 1;
  std::size_t filled = FileRecords::first;
  int result = Z_OK;
  while (result == Z_OK && (state.avail_in > 0 || place < end)) {
    if (state.avail_in == 0) {
      const ByteRun run = stream.bytes->runAt(place);
      state.next_in = run.first;
      state.avail_in = static_cast<uInt>(std::min<std::uint64_t>(run.count, end - place));
      place += state.avail_in;
    }
    if (filled == image.bytes.size() || image.bytes.empty()) {
      if (filled >= mostOfImage) {
        return image;
      }
      const std::size_t size = filled + std::max(filled, static_cast<std::size_t>(expected));
      image.bytes.resize(std::min(static_cast<std::size_t>(mostOfImage), size));
    }
    state.next_out = image.bytes.data() + filled;
    state.avail_out = static_cast<uInt>(image.bytes.size() - filled);
    result = inflate(&state, Z_NO_FLUSH);
    filled = image.bytes.size() - state.avail_out;
  }
  image.bytes.resize(filled);
  image.isRefused = result != Z_OK && result != Z_BUF_ERROR && result != Z_STREAM_END;
  image.isWhole = !image.isRefused;
  return image;
}

}  // namespace tarvik::cdf
