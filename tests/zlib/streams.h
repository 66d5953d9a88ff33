/// Drives the CDF library's zlib and the system's the same way, so that a test can compare them.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#define ZLIB_CONST
#include <zlib.h>

extern "C" {
int z_inflateInit2_(z_stream*, int windowBits, const char* version, int streamSize);
int z_inflate(z_stream*, int flush);
int z_inflateEnd(z_stream*);
int z_deflateInit2_(z_stream*, int level, int method, int windowBits, int memoryLevel, int strategy,
                    const char* version, int streamSize);
int z_deflate(z_stream*, int flush);
int z_deflateEnd(z_stream*);
}

namespace zlib_test {

struct Functions {
  decltype(&::inflateInit2_) startInflate;
  decltype(&::inflate) inflate;
  decltype(&::inflateEnd) endInflate;
  decltype(&::deflateInit2_) startDeflate;
  decltype(&::deflate) deflate;
  decltype(&::deflateEnd) endDeflate;
};

constexpr Functions ours = {z_inflateInit2_, z_inflate, z_inflateEnd,
                            z_deflateInit2_, z_deflate, z_deflateEnd};
constexpr Functions systems = {inflateInit2_, inflate, inflateEnd,
                               deflateInit2_, deflate, deflateEnd};

using Bytes = std::vector<std::uint8_t>;
/// Gives the size of the next piece of input or output, at least 1.
using Pieces = std::function<std::size_t()>;

constexpr int kGzip = 31;

/// What the user of a stream sees of it in the end.
struct Outcome {
  int result = Z_OK;
  Bytes output;
  std::size_t consumed = 0;
  std::string message;
  bool totalsFit = true;
};

/// Inflates until an end, an error, or the lack of input. Every piece of input and output and the
/// stream's memory end before a page that cannot be touched.
Outcome inflateBytes(const Functions& functions, const Bytes& stream, const Pieces& pieces);
Outcome deflateBytes(const Functions& functions, const Bytes& data, int level,
                     const Pieces& pieces);

/// Raw deflate data by the system's zlib.
Bytes deflateRaw(const Bytes& data, int level, int strategy);
/// A gzip member with the trailer that belongs to raw deflate data, or to what can be decoded of
/// it; what follows the data follows the trailer.
Bytes wrap(const Bytes& raw);

/// What ours does differently where it should not; empty if nothing.
std::string difference(const Outcome& expected, const Outcome& actual);

}  // namespace zlib_test
