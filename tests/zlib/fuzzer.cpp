// The CDF library's zlib beside the system's, with streams that libFuzzer makes. Neither of the
// libraries that are called is instrumented: what the system's zlib says of a stream is counted as
// coverage, and the pages behind all pieces of memory show what is touched beyond them.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <numeric>

#include "tests/zlib/streams.h"

namespace {

using namespace zlib_test;

__attribute__((section("__libfuzzer_extra_counters"))) std::uint8_t counters[4096];

void count(const Outcome& outcome) {
  const std::size_t ofMessage =
      std::accumulate(outcome.message.begin(), outcome.message.end(), std::size_t{0},
                      [](std::size_t sum, char c) { return 31 * sum + static_cast<unsigned>(c); });
  std::size_t magnitude = 0;
  while (outcome.output.size() >> magnitude != 0) ++magnitude;
  const std::size_t depth = std::min<std::size_t>(outcome.consumed / 16, 15);
  counters[(ofMessage * 977 + magnitude * 61 + depth) % sizeof counters] = 1;
}

[[noreturn]] void fail(const std::string& what) {
  std::fprintf(stderr, "%s\n", what.c_str());
  std::abort();
}

/// Bytes that decide, and after them zeros.
class Choices {
 public:
  Choices(const std::uint8_t* bytes, std::size_t count) : next_(bytes), end_(bytes + count) {}
  std::size_t take() { return next_ == end_ ? 0 : *next_++; }
  Bytes rest() const { return Bytes(next_, end_); }

 private:
  const std::uint8_t* next_;
  const std::uint8_t* end_;
};

bool isRefusal(int result) {
  return result == Z_DATA_ERROR || result == Z_BUF_ERROR;
}

void compareInflating(const Bytes& stream, std::size_t size) {
  const Pieces pieces = [size] { return size; };
  const Outcome expected = inflateBytes(systems, stream, pieces);
  count(expected);
  const Outcome actual = inflateBytes(ours, stream, pieces);
  // In a cut header of a block one may already see the fault where the other wants to read on.
  if (expected.result != actual.result && isRefusal(expected.result) && isRefusal(actual.result)) {
    return;
  }
  const std::string found = difference(expected, actual);
  if (!found.empty()) fail(found + ", " + expected.message);
}

void compareDeflating(const Bytes& data, int level, std::size_t size) {
  const Pieces pieces = [size] { return size; };
  const Outcome written = deflateBytes(ours, data, level, pieces);
  const Outcome read = inflateBytes(systems, written.output, pieces);
  if (written.result != Z_STREAM_END || read.result != Z_STREAM_END || read.output != data) {
    fail("what was deflated does not come back");
  }
}

/// The data repeated, so that there is something to point back to.
Bytes longer(const Bytes& data, std::size_t times) {
  Bytes all;
  for (; times > 0; --times) all.insert(all.end(), data.begin(), data.end());
  return all;
}

/// Raw data of the system's zlib with one bit flipped.
Bytes damaged(Choices& choices, const Bytes& data) {
  Bytes raw =
      deflateRaw(data, static_cast<int>(choices.take() % 10), static_cast<int>(choices.take() % 5));
  const std::size_t place = choices.take() << 8 | choices.take();
  raw[place % raw.size()] ^= static_cast<std::uint8_t>(1 << choices.take() % 8);
  return raw;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int LLVMFuzzerTestOneInput(
    const std::uint8_t* bytes, std::size_t numBytes) {
  Choices choices(bytes, numBytes);
  constexpr std::size_t sizes[] = {1, 2, 7, 8, 9, 100, 4096, 65'536};
  const std::size_t size = sizes[choices.take() % std::size(sizes)];
  switch (choices.take() % 4) {
    case 0:
      compareInflating(choices.rest(), size);
      break;
    case 1:
      compareInflating(wrap(choices.rest()), size);
      break;
    case 2: {
      const std::size_t times = 1 + choices.take();
      Choices settings = choices;
      for (int i = 0; i < 5; ++i) choices.take();
      compareInflating(wrap(damaged(settings, longer(choices.rest(), times))), size);
      break;
    }
    default: {
      const int level = static_cast<int>(choices.take() % 10);
      const std::size_t times = 1 + choices.take();
      compareDeflating(longer(choices.rest(), times), level, size);
    }
  }
  return 0;
}
