// The CDF library's zlib beside the system's: wrong arguments, calls out of turn, lack of memory.
#include <array>
#include <cstdlib>
#include <gtest/gtest.h>

#include "tests/zlib/streams.h"

namespace {

using namespace zlib_test;

TEST(ZlibTest, ArgumentsAreCheckedAlike) {
  struct Row {
    int level, method, windowBits, memoryLevel, strategy;
    const char* version;
    int size, expected;
  };
  constexpr int size = sizeof(z_stream);
  const Row rows[] = {{6, 8, 31, 8, 0, ZLIB_VERSION, size, Z_OK},
                      {-1, 8, 31, 9, 0, "1.3", size, Z_OK},
                      {6, 8, 31, 8, 0, "2.0", size, Z_VERSION_ERROR},
                      {6, 8, 31, 8, 0, nullptr, size, Z_VERSION_ERROR},
                      {6, 8, 31, 8, 0, ZLIB_VERSION, size - 1, Z_VERSION_ERROR},
                      {10, 8, 31, 8, 0, ZLIB_VERSION, size, Z_STREAM_ERROR},
                      {-2, 8, 31, 8, 0, ZLIB_VERSION, size, Z_STREAM_ERROR},
                      {6, 7, 31, 8, 0, ZLIB_VERSION, size, Z_STREAM_ERROR},
                      {6, 8, 32, 8, 0, ZLIB_VERSION, size, Z_STREAM_ERROR},
                      {6, 8, 31, 0, 0, ZLIB_VERSION, size, Z_STREAM_ERROR},
                      {6, 8, 31, 10, 0, ZLIB_VERSION, size, Z_STREAM_ERROR},
                      {6, 8, 31, 8, 5, ZLIB_VERSION, size, Z_STREAM_ERROR}};
  for (const Row& row : rows) {
    for (const Functions* functions : {&systems, &ours}) {
      z_stream stream = {};
      EXPECT_EQ(functions->startDeflate(&stream, row.level, row.method, row.windowBits,
                                        row.memoryLevel, row.strategy, row.version, row.size),
                row.expected);
      if (row.expected == Z_OK) functions->endDeflate(&stream);
    }
  }
  for (const int windowBits : {15, -15, 47, 24, 0}) {  // Formats that the library does not ask for.
    z_stream stream = {};
    EXPECT_EQ(ours.startInflate(&stream, windowBits, ZLIB_VERSION, size), Z_STREAM_ERROR);
    EXPECT_EQ(ours.startDeflate(&stream, 6, 8, windowBits, 8, 0, ZLIB_VERSION, size),
              Z_STREAM_ERROR);
  }
}

/// The results of calls that are not allowed, or that cannot do anything.
std::vector<int> misuse(const Functions& functions) {
  std::vector<int> results;
  const auto note = [&](int result) { results.push_back(result); };
  note(functions.startInflate(nullptr, kGzip, ZLIB_VERSION, sizeof(z_stream)));
  note(functions.inflate(nullptr, Z_NO_FLUSH));
  note(functions.endInflate(nullptr));
  note(functions.deflate(nullptr, Z_NO_FLUSH));
  note(functions.endDeflate(nullptr));

  Bytes room(100);
  z_stream stream = {};
  note(functions.inflate(&stream, Z_NO_FLUSH));
  note(functions.endDeflate(&stream));
  functions.startInflate(&stream, kGzip, ZLIB_VERSION, sizeof stream);
  note(functions.inflate(&stream, Z_NO_FLUSH));  // No output.
  stream.next_out = room.data();
  note(functions.inflate(&stream, Z_NO_FLUSH));  // Nothing to do.
  stream.avail_in = 1;
  note(functions.inflate(&stream, Z_NO_FLUSH));  // No input behind the count.
  z_stream copy = stream;
  note(functions.inflate(&copy, Z_NO_FLUSH));
  note(functions.endInflate(&stream));
  note(functions.endInflate(&stream));

  stream = {};
  functions.startDeflate(&stream, 6, Z_DEFLATED, kGzip, 8, 0, ZLIB_VERSION, sizeof stream);
  note(functions.deflate(&stream, Z_NO_FLUSH));  // No output.
  stream.next_out = room.data();
  note(functions.deflate(&stream, Z_NO_FLUSH));  // No room.
  stream.avail_out = static_cast<uInt>(room.size());
  note(functions.deflate(&stream, 7));
  note(functions.deflate(&stream, -1));
  note(functions.deflate(&stream, Z_NO_FLUSH));
  note(functions.deflate(&stream, Z_NO_FLUSH));  // Nothing to do.
  note(functions.deflate(&stream, Z_FINISH));
  note(functions.deflate(&stream, Z_FINISH));
  note(functions.deflate(&stream, Z_NO_FLUSH));  // After the end.
  stream.next_in = room.data();
  stream.avail_in = 1;
  note(functions.deflate(&stream, Z_FINISH));
  note(functions.endDeflate(&stream));
  note(functions.endDeflate(&stream));

  stream = {};
  functions.startDeflate(&stream, 6, Z_DEFLATED, kGzip, 8, 0, ZLIB_VERSION, sizeof stream);
  stream.next_in = stream.next_out = room.data();
  stream.avail_in = stream.avail_out = 10;
  note(functions.deflate(&stream, Z_NO_FLUSH));
  note(functions.endDeflate(&stream));  // Before the end.
  return results;
}

TEST(ZlibTest, MisuseGivesTheSameResults) {
  EXPECT_EQ(misuse(ours), misuse(systems));
}

/// Memory in which some allocations fail, counted from 0.
struct Memory {
  int firstFailure, numFailures;
  int asked = 0, alive = 0;

  static voidpf allocate(voidpf self, uInt items, uInt size) {
    auto& memory = *static_cast<Memory*>(self);
    const int number = memory.asked++ - memory.firstFailure;
    if (number >= 0 && number < memory.numFailures) return nullptr;
    ++memory.alive;
    return std::malloc(std::size_t{items} * size);
  }
  static void release(voidpf self, voidpf block) {
    --static_cast<Memory*>(self)->alive;
    std::free(block);
  }
  z_stream stream() {
    z_stream made = {};
    made.zalloc = &allocate;
    made.zfree = &release;
    made.opaque = this;
    return made;
  }
};

/// Deflates in one call; gives its result.
int deflateWith(Memory& memory, const Bytes& data, Bytes& output) {
  z_stream stream = memory.stream();
  int result = ours.startDeflate(&stream, 6, Z_DEFLATED, kGzip, 8, 0, ZLIB_VERSION, sizeof stream);
  if (result != Z_OK) return result;
  stream.next_in = data.data();
  stream.avail_in = static_cast<uInt>(data.size());
  stream.next_out = output.data();
  stream.avail_out = static_cast<uInt>(output.size());
  result = ours.deflate(&stream, Z_FINISH);
  output.resize(stream.total_out);
  ours.endDeflate(&stream);
  return result;
}

TEST(ZlibTest, DeflatingGoesOnWithTheSystemsZlibWhereMemoryIsShort) {
  Bytes data(300'000);
  for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<std::uint8_t>(i * i / 7);
  constexpr int all = 100;
  const std::array<int, 3> rows[] = {{0, 1, Z_MEM_ERROR},   {1, 1, Z_STREAM_END},
                                     {2, 1, Z_STREAM_END},  {1, all, Z_MEM_ERROR},
                                     {2, all, Z_MEM_ERROR}, {3, all, Z_STREAM_END}};
  for (const auto& [first, count, expected] : rows) {
    Memory memory{first, count};
    Bytes output(data.size() + 1000);
    EXPECT_EQ(deflateWith(memory, data, output), expected) << first << ", " << count;
    EXPECT_EQ(memory.alive, 0) << first << ", " << count;
    if (expected == Z_STREAM_END) {
      EXPECT_EQ(inflateBytes(systems, output, [] { return 5000; }).output, data);
    }
  }
}

TEST(ZlibTest, InflatingNeedsNoMemoryButItsState) {
  const Bytes member = wrap(deflateRaw(Bytes(300'000, 7), 6, Z_DEFAULT_STRATEGY));
  for (const int first : {0, 1}) {
    Memory memory{first, 100};
    z_stream stream = memory.stream();
    const int started = ours.startInflate(&stream, kGzip, ZLIB_VERSION, sizeof stream);
    EXPECT_EQ(started, first == 0 ? Z_MEM_ERROR : Z_OK);
    if (started != Z_OK) continue;
    Bytes output(400'000);
    stream.next_in = member.data();
    stream.avail_in = static_cast<uInt>(member.size());
    for (const int expected : {Z_OK, Z_STREAM_END}) {
      stream.next_out = output.data() + stream.total_out;
      stream.avail_out = 200'000;
      EXPECT_EQ(ours.inflate(&stream, Z_NO_FLUSH), expected);
    }
    EXPECT_EQ(stream.total_out, 300'000u);
    EXPECT_EQ(ours.endInflate(&stream), Z_OK);
    EXPECT_EQ(memory.alive, 0);
  }
}

}  // namespace
