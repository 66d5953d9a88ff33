// z_inflate and its kin. A short stream that the first input holds whole goes through libdeflate in
// one piece; otherwise ISA-L decodes, and the gzip wrapper is read here.
#include <algorithm>
#include <cstring>
#include <isa-l/igzip_lib.h>
#include <libdeflate.h>

#include "cdf/zlib/gzip_header.h"
#include "cdf/zlib/stream.h"
#include "cdf/zlib/whole.h"

namespace tarvik::zlib {

namespace {

class Inflater : public State {
 public:
  static constexpr Kind kKind = Kind::inflater;

  /// Decodes as far as input and output go. Gives Z_OK, Z_STREAM_END or Z_DATA_ERROR.
  int run(z_stream& stream);
  void end(z_stream& stream) { whole_.end(stream); }

 private:
  enum class Phase { start, whole, header, body, trailer, end, invalid };

  void begin(z_stream& stream);
  void readHeader(z_stream& stream);
  void decode(z_stream& stream);
  void finishBody();
  void readTrailer(z_stream& stream);
  void takeTrailer(const std::uint8_t* bytes, std::size_t count);
  /// Compares four bytes of the trailer with what was decoded.
  bool trailerHas(std::size_t place, std::uint32_t value) const;
  void refuse(const char* message);

  Phase phase_ = Phase::start;
  const char* message_ = nullptr;
  Whole whole_;
  GzipHeader header_;
  std::uint32_t crc_ = 0;
  std::uint32_t length_ = 0;  ///< Of what was decoded, modulo 2^32 as in the trailer.
  std::uint8_t trailer_[8];
  std::size_t trailerBytes_ = 0;
  inflate_state decoder_;  // not initialised as a whole: it is large
};

int Inflater::run(z_stream& stream) {
  if (phase_ == Phase::start && stream.avail_in > 0) begin(stream);
  if (phase_ == Phase::whole && whole_.drain(stream)) phase_ = Phase::end;
  if (phase_ == Phase::header) readHeader(stream);
  if (phase_ == Phase::body) decode(stream);
  if (phase_ == Phase::trailer) readTrailer(stream);
  if (phase_ == Phase::end) return Z_STREAM_END;
  if (phase_ != Phase::invalid) return Z_OK;
  stream.msg = message_;
  return Z_DATA_ERROR;
}

void Inflater::begin(z_stream& stream) {
  if (whole_.take(stream)) {
    phase_ = Phase::whole;
    return;
  }
  isal_inflate_init(&decoder_);
  phase_ = Phase::header;
}

void Inflater::refuse(const char* message) {
  phase_ = Phase::invalid;
  message_ = message;
}

void Inflater::readHeader(z_stream& stream) {
  while (stream.avail_in > 0 && phase_ == Phase::header) {
    const char* const wrong = header_.take(*stream.next_in);
    advanceInput(stream, 1);
    if (wrong != nullptr) refuse(wrong);
    if (wrong == nullptr && header_.isComplete()) phase_ = Phase::body;
  }
}

void Inflater::decode(z_stream& stream) {
  decoder_.next_in = const_cast<std::uint8_t*>(stream.next_in);
  decoder_.avail_in = stream.avail_in;
  decoder_.next_out = stream.next_out;
  decoder_.avail_out = stream.avail_out;
  const int result = isal_inflate(&decoder_);
  const std::size_t decoded = stream.avail_out - decoder_.avail_out;
  crc_ = libdeflate_crc32(crc_, stream.next_out, decoded);
  length_ += static_cast<std::uint32_t>(decoded);
  stream.adler = crc_;
  // After an error ISA-L may go back behind the start of this input.
  advanceInput(stream, stream.avail_in - std::min(decoder_.avail_in, stream.avail_in));
  advanceOutput(stream, decoded);
  if (result == ISAL_INVALID_LOOKBACK) {
    refuse("invalid distance too far back");
  } else if (result < 0) {
    refuse(result == ISAL_INVALID_SYMBOL ? "invalid literal/length code" : "invalid block");
  } else if (decoder_.block_state == ISAL_BLOCK_FINISH) {
    finishBody();
  }
}

// ISA-L reads up to eight bytes ahead, which need not lie in the current input any more; the
// trailer has as many.
void Inflater::finishBody() {
  phase_ = Phase::trailer;
  const std::uint64_t ahead = decoder_.read_in >> (decoder_.read_in_length % 8);
  std::uint8_t bytes[sizeof ahead];
  for (std::size_t i = 0; i < sizeof bytes; ++i)
    bytes[i] = static_cast<std::uint8_t>(ahead >> 8 * i);
  takeTrailer(bytes, static_cast<std::size_t>(decoder_.read_in_length) / 8);
}

void Inflater::readTrailer(z_stream& stream) {
  const std::size_t count = std::min<std::size_t>(stream.avail_in, sizeof trailer_ - trailerBytes_);
  takeTrailer(stream.next_in, count);
  advanceInput(stream, count);
}

void Inflater::takeTrailer(const std::uint8_t* bytes, std::size_t count) {
  std::copy_n(bytes, count, trailer_ + trailerBytes_);
  trailerBytes_ += count;
  if (trailerBytes_ >= 4 && !trailerHas(0, crc_)) return refuse("incorrect data check");
  if (trailerBytes_ < sizeof trailer_) return;
  if (!trailerHas(4, length_)) return refuse("incorrect length check");
  phase_ = Phase::end;
}

bool Inflater::trailerHas(std::size_t place, std::uint32_t value) const {
  for (std::size_t i = 0; i < 4; ++i) {
    if (trailer_[place + i] != static_cast<std::uint8_t>(value >> 8 * i)) return false;
  }
  return true;
}

}  // namespace

}  // namespace tarvik::zlib

using tarvik::zlib::Inflater;

TARVIK_ZLIB_API int z_inflateInit2_(z_stream* stream, int windowBits, const char* version,
                                    int streamSize) {
  const int result = tarvik::zlib::prepare(stream, windowBits, version, streamSize);
  return result == Z_OK ? tarvik::zlib::start<Inflater>(*stream) : result;
}

/// Stops at the end of blocks are not served.
TARVIK_ZLIB_API int z_inflate(z_stream* stream, int flush) {
  auto* const inflater = tarvik::zlib::stateOf<Inflater>(stream);
  if (inflater == nullptr || !tarvik::zlib::hasBuffers(*stream) || flush == Z_BLOCK ||
      flush == Z_TREES) {
    return Z_STREAM_ERROR;
  }
  const uLong in = stream->total_in, out = stream->total_out;
  const int result = inflater->run(*stream);
  const bool moved = stream->total_in != in || stream->total_out != out;
  return result == Z_OK && (!moved || flush == Z_FINISH) ? Z_BUF_ERROR : result;
}

TARVIK_ZLIB_API int z_inflateEnd(z_stream* stream) {
  auto* const inflater = tarvik::zlib::stateOf<Inflater>(stream);
  if (inflater == nullptr) return Z_STREAM_ERROR;
  inflater->end(*stream);
  tarvik::zlib::release(*stream, inflater);
  stream->state = nullptr;
  return Z_OK;
}
