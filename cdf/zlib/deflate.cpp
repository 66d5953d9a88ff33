// z_deflate and its kin. libdeflate compresses whole streams: the input is gathered until its end
// is known. zlib takes over where that cannot be: for a stream of more than `kMostGathered` bytes,
// a flush, or a lack of memory.
#include <algorithm>
#include <libdeflate.h>

#include "cdf/zlib/stream.h"

namespace tarvik::zlib {

namespace {

constexpr std::size_t kFirstCapacity = std::size_t{256} << 10;
constexpr std::size_t kMostGathered = std::size_t{256} << 20;
constexpr int kDefaultLevel = 6;
/// What libdeflate calls the level that gives files as small as zlib's.
constexpr int kLevels[] = {0, 1, 2, 2, 3, 4, 4, 6, 7, 10};

int fail(z_stream& stream, int result) {
  stream.msg = zError(result);
  return result;
}

class Deflater : public State {
 public:
  static constexpr Kind kKind = Kind::deflater;

  void setLevels(int level, int memoryLevel);
  int run(z_stream& stream, int flush);
  /// Releases all but the state itself.
  int end(z_stream& stream);

 private:
  enum class Phase { start, gathering, draining, streaming };

  int gather(z_stream& stream, int flush);
  bool keepInput(z_stream& stream);
  bool compress(z_stream& stream);
  int drain(z_stream& stream);
  int startStreaming(z_stream& stream, int flush);
  int streamOn(z_stream& stream, int flush);
  void streamGathered(z_stream& stream);

  Phase phase_ = Phase::start;
  int level_ = kDefaultLevel;
  int memoryLevel_ = 8;
  Bytes input_;
  Bytes output_;
  z_stream zlib_ = {};
};

void Deflater::setLevels(int level, int memoryLevel) {
  level_ = level == Z_DEFAULT_COMPRESSION ? kDefaultLevel : level;
  memoryLevel_ = memoryLevel;
}

int Deflater::run(z_stream& stream, int flush) {
  if (phase_ == Phase::draining && flush != Z_FINISH) return fail(stream, Z_STREAM_ERROR);
  if (stream.avail_out == 0) return fail(stream, Z_BUF_ERROR);
  if (phase_ == Phase::draining) return drain(stream);
  return phase_ == Phase::streaming ? streamOn(stream, flush) : gather(stream, flush);
}

int Deflater::gather(z_stream& stream, int flush) {
  const bool again = phase_ == Phase::gathering;
  if (again && flush == Z_NO_FLUSH && stream.avail_in == 0) return fail(stream, Z_BUF_ERROR);
  phase_ = Phase::gathering;
  const bool isServed = flush == Z_NO_FLUSH || flush == Z_FINISH;
  if (!isServed || !keepInput(stream)) return startStreaming(stream, flush);
  if (flush == Z_NO_FLUSH) return Z_OK;
  return compress(stream) ? drain(stream) : startStreaming(stream, flush);
}

/// Takes all input, or nothing and gives false.
bool Deflater::keepInput(z_stream& stream) {
  const std::size_t size = input_.size + stream.avail_in;
  if (size > kMostGathered) return false;
  if (size > input_.capacity &&
      !grow(stream, input_, std::max({size, 2 * input_.capacity, kFirstCapacity}))) {
    return false;
  }
  std::copy_n(stream.next_in, stream.avail_in, input_.first + input_.size);
  input_.size = size;
  advanceInput(stream, stream.avail_in);
  return true;
}

bool Deflater::compress(z_stream& stream) {
  libdeflate_compressor* const compressor = libdeflate_alloc_compressor(kLevels[level_]);
  if (compressor == nullptr) return false;
  if (grow(stream, output_, libdeflate_gzip_compress_bound(compressor, input_.size))) {
    output_.size = libdeflate_gzip_compress(compressor, input_.first, input_.size, output_.first,
                                            output_.capacity);
    discard(stream, input_);
    phase_ = Phase::draining;
  }
  libdeflate_free_compressor(compressor);
  return phase_ == Phase::draining;
}

int Deflater::drain(z_stream& stream) {
  if (stream.avail_in > 0) return fail(stream, Z_BUF_ERROR);
  return passOn(stream, output_) ? Z_STREAM_END : Z_OK;
}

int Deflater::startStreaming(z_stream& stream, int flush) {
  zlib_.zalloc = stream.zalloc;
  zlib_.zfree = stream.zfree;
  zlib_.opaque = stream.opaque;
  const int result =
      deflateInit2(&zlib_, level_, Z_DEFLATED, kGzip, memoryLevel_, Z_DEFAULT_STRATEGY);
  if (result != Z_OK) return fail(stream, result);
  phase_ = Phase::streaming;
  return streamOn(stream, flush);
}

int Deflater::streamOn(z_stream& stream, int flush) {
  if (input_.passed < input_.size) streamGathered(stream);
  if (stream.avail_out == 0) return Z_OK;  // what was gathered has filled it
  zlib_.next_in = stream.next_in;
  zlib_.avail_in = stream.avail_in;
  zlib_.next_out = stream.next_out;
  zlib_.avail_out = stream.avail_out;
  const int result = deflate(&zlib_, flush);
  advanceInput(stream, stream.avail_in - zlib_.avail_in);
  advanceOutput(stream, stream.avail_out - zlib_.avail_out);
  stream.msg = zlib_.msg;
  return result;
}

/// Ends with full output or with nothing left of what was gathered.
void Deflater::streamGathered(z_stream& stream) {
  zlib_.next_in = input_.first + input_.passed;
  zlib_.avail_in = static_cast<uInt>(input_.size - input_.passed);
  zlib_.next_out = stream.next_out;
  zlib_.avail_out = stream.avail_out;
  deflate(&zlib_, Z_NO_FLUSH);
  input_.passed = input_.size - zlib_.avail_in;
  advanceOutput(stream, stream.avail_out - zlib_.avail_out);
  if (input_.passed == input_.size) discard(stream, input_);
}

int Deflater::end(z_stream& stream) {
  discard(stream, input_);
  discard(stream, output_);
  if (phase_ == Phase::streaming) return deflateEnd(&zlib_);
  return phase_ == Phase::gathering ? Z_DATA_ERROR : Z_OK;
}

bool isWithin(int value, int least, int most) {
  return least <= value && value <= most;
}

}  // namespace

}  // namespace tarvik::zlib

using tarvik::zlib::Deflater;
using tarvik::zlib::isWithin;
using tarvik::zlib::stateOf;

TARVIK_ZLIB_API int z_deflateInit2_(z_stream* stream, int level, int method, int windowBits,
                                    int memoryLevel, int strategy, const char* version,
                                    int streamSize) {
  int result = tarvik::zlib::prepare(stream, windowBits, version, streamSize);
  if (result != Z_OK) return result;
  if (!isWithin(level, Z_DEFAULT_COMPRESSION, Z_BEST_COMPRESSION) || method != Z_DEFLATED ||
      !isWithin(memoryLevel, 1, MAX_MEM_LEVEL) || strategy != Z_DEFAULT_STRATEGY) {
    return Z_STREAM_ERROR;
  }
  result = tarvik::zlib::start<Deflater>(*stream);
  if (result == Z_OK) stateOf<Deflater>(stream)->setLevels(level, memoryLevel);
  return result;
}

TARVIK_ZLIB_API int z_deflate(z_stream* stream, int flush) {
  auto* const deflater = stateOf<Deflater>(stream);
  if (deflater == nullptr || !isWithin(flush, Z_NO_FLUSH, Z_BLOCK)) return Z_STREAM_ERROR;
  if (!tarvik::zlib::hasBuffers(*stream)) return tarvik::zlib::fail(*stream, Z_STREAM_ERROR);
  return deflater->run(*stream, flush);
}

TARVIK_ZLIB_API int z_deflateEnd(z_stream* stream) {
  auto* const deflater = stateOf<Deflater>(stream);
  if (deflater == nullptr) return Z_STREAM_ERROR;
  const int result = deflater->end(*stream);
  tarvik::zlib::release(*stream, deflater);
  stream->state = nullptr;
  return result;
}
