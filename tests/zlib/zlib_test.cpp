// The CDF library's zlib beside the system's: the same results for the same streams.
#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <tuple>

#include "tests/zlib/streams.h"

namespace {

using namespace zlib_test;
using Random = std::mt19937;

std::size_t below(Random& random, std::size_t end) {
  return std::uniform_int_distribution<std::size_t>(0, end - 1)(random);
}

/// Noise, runs, ramps and mostly zeros, of up to 200,000 bytes.
Bytes randomData(Random& random) {
  Bytes data(below(random, below(random, 3) == 0 ? 300 : 200'000));
  const std::size_t kind = below(random, 4), alphabet = 1 + below(random, 256);
  for (std::size_t i = 0; i < data.size(); ++i) {
    std::size_t value = below(random, alphabet);
    if (kind == 1 && i > 100 && below(random, 8) > 0) value = data[i - 1 - below(random, 100)];
    if (kind == 2) value = i / (1 + alphabet);
    if (kind == 3 && below(random, 3) > 0) value = 0;
    data[i] = static_cast<std::uint8_t>(value);
  }
  return data;
}

void flipBits(Random& random, Bytes& bytes, std::size_t most) {
  for (std::size_t left = 1 + below(random, 3); left > 0 && !bytes.empty(); --left) {
    bytes[below(random, std::min(most, bytes.size()))] ^=
        static_cast<std::uint8_t>(1 << below(random, 8));
  }
}

/// A gzip member: whole, damaged before or after its trailer was made, cut, or with more behind it.
Bytes randomStream(Random& random) {
  const int level = static_cast<int>(below(random, 10));
  Bytes raw = deflateRaw(randomData(random), level, static_cast<int>(below(random, 5)));
  const std::size_t damage = below(random, 6);
  if (damage == 1) flipBits(random, raw, 100);
  if (damage == 2) flipBits(random, raw, raw.size());
  if (damage == 3) raw.insert(raw.end(), below(random, 20), 0x5a);
  Bytes stream = wrap(raw);
  if (damage == 4) stream.resize(below(random, stream.size()));
  if (damage == 5) flipBits(random, stream, below(random, 2) == 0 ? 20 : stream.size());
  return stream;
}

/// The same sizes for the same seed: single bytes, the CDF library's, others of one size, or mixed.
Pieces randomPieces(unsigned seed) {
  auto random = std::make_shared<Random>(seed);
  const std::size_t kind = below(*random, 4), size = 1 + below(*random, 70'000);
  return [=]() -> std::size_t {
    if (kind == 0) return 1 + below(*random, below(*random, 2) == 0 ? 20 : 70'000);
    return kind == 1 ? 1 : kind == 2 ? 65'536 : size;
  };
}

/// One call for all of the stream; gives the result.
int inflateAtOnce(const Functions& functions, const Bytes& bytes, std::size_t room, int flush) {
  z_stream stream = {};
  functions.startInflate(&stream, kGzip, ZLIB_VERSION, sizeof stream);
  Bytes output(room + 1);
  stream.next_in = bytes.data();
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = output.data();
  stream.avail_out = static_cast<uInt>(room);
  const int result = functions.inflate(&stream, flush);
  functions.endInflate(&stream);
  return result;
}

TEST(ZlibTest, RandomAndDamagedStreamsAreInflatedAlike) {
  Random random(1);
  for (unsigned seed = 0; seed < 500; ++seed) {
    const Bytes stream = randomStream(random);
    const Outcome expected = inflateBytes(systems, stream, randomPieces(seed));
    const Outcome actual = inflateBytes(ours, stream, randomPieces(seed));
    ASSERT_EQ(difference(expected, actual), "") << "seed " << seed << ", " << expected.message;
    if (expected.result != Z_STREAM_END) continue;
    for (const std::size_t less : {0u, 1u}) {
      if (less > expected.output.size()) continue;
      const std::size_t room = expected.output.size() - less;
      for (const int flush : {Z_NO_FLUSH, Z_FINISH}) {
        ASSERT_EQ(inflateAtOnce(ours, stream, room, flush),
                  inflateAtOnce(systems, stream, room, flush))
            << "seed " << seed << ", " << less << " bytes too few";
      }
    }
  }
}

TEST(ZlibTest, GzipHeadersAreReadAlike) {
  const Bytes raw = deflateRaw({1, 2, 3}, 6, Z_DEFAULT_STRATEGY);
  const Bytes tail = [&] {
    const Bytes member = wrap(raw);
    return Bytes(member.begin() + 10, member.end());
  }();
  for (unsigned flags = 0; flags < 256; ++flags) {
    Bytes stream = {0x1f, 0x8b, Z_DEFLATED, static_cast<std::uint8_t>(flags), 1, 2, 3, 4, 5, 6};
    if ((flags & 4) != 0) stream.insert(stream.end(), {2, 0, 'e', 'x'});
    if ((flags & 8) != 0) stream.insert(stream.end(), {'n', 'a', 0});
    if ((flags & 16) != 0) stream.insert(stream.end(), {'c', 0});
    const uLong crc = crc32(0, stream.data(), static_cast<uInt>(stream.size()));
    for (const unsigned wrong : {0u, 1u}) {
      Bytes whole = stream;
      if ((flags & 2) != 0) {
        whole.push_back(static_cast<std::uint8_t>(static_cast<unsigned>(crc) ^ wrong));
        whole.push_back(static_cast<std::uint8_t>(crc >> 8));
      }
      whole.insert(whole.end(), tail.begin(), tail.end());
      for (const std::size_t piece : {1u, 1000u}) {
        const Outcome expected = inflateBytes(systems, whole, [=] { return piece; });
        const Outcome actual = inflateBytes(ours, whole, [=] { return piece; });
        ASSERT_EQ(difference(expected, actual), "") << flags;
        ASSERT_EQ(expected.message, actual.message) << flags;
      }
    }
  }
}

TEST(ZlibTest, WhatIsDeflatedComesBackAtEveryLevel) {
  Random random(2);
  for (int level = -1; level <= 9; ++level) {
    for (unsigned seed = 0; seed < 8; ++seed) {
      const Bytes data = seed == 0 ? Bytes() : randomData(random);
      const Outcome written = deflateBytes(ours, data, level, randomPieces(seed));
      ASSERT_EQ(written.result, Z_STREAM_END) << level;
      ASSERT_TRUE(written.totalsFit && written.consumed == data.size()) << level;
      for (const Functions* functions : {&systems, &ours}) {
        const Outcome read = inflateBytes(*functions, written.output, randomPieces(seed + 1));
        ASSERT_EQ(read.result, Z_STREAM_END) << level;
        ASSERT_EQ(read.output, data) << level;
      }
    }
  }
}

/// Deflates zeros in pieces of 64 KiB, all of which share one output, and gives what was written.
Bytes deflateZeros(std::size_t pieces, int flush) {
  const Bytes zeros(65'536);
  Bytes written, room(65'536);
  z_stream stream = {};
  ours.startDeflate(&stream, 1, Z_DEFLATED, kGzip, 8, 0, ZLIB_VERSION, sizeof stream);
  for (std::size_t i = 1; i <= pieces; ++i) {
    stream.next_in = zeros.data();
    stream.avail_in = static_cast<uInt>(zeros.size());
    do {
      stream.next_out = room.data();
      stream.avail_out = static_cast<uInt>(room.size());
      EXPECT_GE(ours.deflate(&stream, i == pieces ? Z_FINISH : flush), Z_OK);
      written.insert(written.end(), room.data(), stream.next_out);
    } while (stream.avail_out == 0);
    EXPECT_EQ(stream.avail_in, 0u);
  }
  EXPECT_EQ(ours.endDeflate(&stream), Z_OK);
  return written;
}

TEST(ZlibTest, LongAndFlushedStreamsGoToTheSystemsZlib) {
  const std::tuple<std::size_t, int> rows[] = {
      {0x1010, Z_NO_FLUSH}, {3, Z_SYNC_FLUSH}, {3, Z_FULL_FLUSH}, {3, Z_PARTIAL_FLUSH}};
  for (const auto& [pieces, flush] : rows) {
    const Bytes stream = deflateZeros(pieces, flush);
    const Outcome read = inflateBytes(systems, stream, [] { return std::size_t{1} << 17; });
    ASSERT_EQ(read.result, Z_STREAM_END) << flush;
    ASSERT_EQ(read.output, Bytes(pieces * 65'536)) << flush;
  }
}

/// A member of `pieces` MiB of zeros: one piece that was compressed once and stands there as often.
Bytes repeatedZeros(std::size_t pieces) {
  const Bytes zeros(1 << 20);
  Bytes piece(1 << 16);
  z_stream stream = {};
  deflateInit2(&stream, 9, Z_DEFLATED, -15, 8, Z_DEFAULT_STRATEGY);
  stream.next_in = zeros.data();
  stream.avail_in = static_cast<uInt>(zeros.size());
  stream.next_out = piece.data();
  stream.avail_out = static_cast<uInt>(piece.size());
  deflate(&stream, Z_FULL_FLUSH);
  piece.resize(stream.total_out);
  deflateEnd(&stream);

  Bytes member = {0x1f, 0x8b, Z_DEFLATED, 0, 0, 0, 0, 0, 0, 3};
  const uLong ofPiece = crc32(0, zeros.data(), static_cast<uInt>(zeros.size()));
  uLong crc = 0;
  for (std::size_t i = 0; i < pieces; ++i) {
    member.insert(member.end(), piece.begin(), piece.end());
    crc = crc32_combine(crc, ofPiece, static_cast<z_off_t>(zeros.size()));
  }
  member.insert(member.end(), {3, 0});  // An empty last block.
  for (const std::size_t number : {static_cast<std::size_t>(crc), pieces << 20}) {
    for (int i = 0; i < 4; ++i) member.push_back(static_cast<std::uint8_t>(number >> 8 * i));
  }
  return member;
}

TEST(ZlibTest, StreamsOfMoreThan4GiBAreInflated) {
  constexpr std::size_t pieces = 4098;
  const Bytes member = repeatedZeros(pieces);
  Bytes room(1 << 20);
  z_stream stream = {};
  ours.startInflate(&stream, kGzip, ZLIB_VERSION, sizeof stream);
  stream.next_in = member.data();
  stream.avail_in = static_cast<uInt>(member.size());
  int result = Z_OK;
  while (result == Z_OK) {
    stream.next_out = room.data();
    stream.avail_out = static_cast<uInt>(room.size());
    result = ours.inflate(&stream, Z_NO_FLUSH);
  }
  EXPECT_EQ(result, Z_STREAM_END);
  EXPECT_EQ(stream.total_out, pieces << 20);
  EXPECT_EQ(stream.total_in, member.size());
  ours.endInflate(&stream);
}

}  // namespace
