#include "tests/zlib/streams.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <sys/mman.h>
#include <unistd.h>

namespace zlib_test {

namespace {

/// Memory that ends before a page that cannot be touched.
class Fenced {
 public:
  explicit Fenced(std::size_t size) : pages_((size + kPage - 1) / kPage * kPage) {
    void* const mapped =
        mmap(nullptr, pages_ + kPage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) throw std::bad_alloc();
    first_ = static_cast<std::uint8_t*>(mapped);
    mprotect(first_ + pages_, kPage, PROT_NONE);
  }
  Fenced(const Fenced&) = delete;
  Fenced& operator=(const Fenced&) = delete;
  ~Fenced() { munmap(first_, pages_ + kPage); }

  /// The last `size` bytes.
  std::uint8_t* last(std::size_t size) const { return first_ + pages_ - size; }

 private:
  static constexpr std::size_t kPage = 4096;
  std::size_t pages_;
  std::uint8_t* first_;
};

using Blocks = std::vector<std::pair<void*, std::unique_ptr<Fenced>>>;

voidpf allocate(voidpf blocks, uInt items, uInt size) {
  const std::size_t bytes = (std::size_t{items} * size + 15) / 16 * 16;
  auto block = std::make_unique<Fenced>(bytes);
  void* const memory = block->last(bytes);
  static_cast<Blocks*>(blocks)->emplace_back(memory, std::move(block));
  return memory;
}

void release(voidpf blocks, voidpf memory) {
  auto& all = *static_cast<Blocks*>(blocks);
  all.erase(std::find_if(all.begin(), all.end(), [&](const auto& b) { return b.first == memory; }));
}

constexpr std::size_t kMostOfPiece = 1 << 17;

/// One stream with fenced pieces.
class Exchange {
 public:
  Exchange(const Bytes& input, const Pieces& pieces) : input_(input), pieces_(pieces) {
    stream.zalloc = &allocate;
    stream.zfree = &release;
    stream.opaque = &blocks_;
  }

  /// Gives input where the stream has none left, and room for output.
  void refill() {
    if (stream.avail_in == 0 && given_ < input_.size()) {
      const std::size_t count = std::min({pieces_(), kMostOfPiece, input_.size() - given_});
      stream.next_in = in_.last(count);
      stream.avail_in = static_cast<uInt>(count);
      std::copy_n(input_.data() + given_, count, in_.last(count));
      given_ += count;
    }
    room_ = std::min(pieces_(), kMostOfPiece);
    stream.next_out = out_.last(room_);
    stream.avail_out = static_cast<uInt>(room_);
  }

  void collect() {
    const std::uint8_t* const first = out_.last(room_);
    outcome.output.insert(outcome.output.end(), first, first + (room_ - stream.avail_out));
    outcome.consumed = given_ - stream.avail_in;
    outcome.totalsFit = outcome.totalsFit && stream.total_in == outcome.consumed &&
                        stream.total_out == outcome.output.size();
  }

  bool isAllGiven() const { return given_ == input_.size(); }

  z_stream stream = {};
  Outcome outcome;

 private:
  const Bytes& input_;
  const Pieces& pieces_;
  Blocks blocks_;
  Fenced in_{kMostOfPiece}, out_{kMostOfPiece};
  std::size_t given_ = 0, room_ = 0;
};

}  // namespace

Outcome inflateBytes(const Functions& functions, const Bytes& bytes, const Pieces& pieces) {
  Exchange exchange(bytes, pieces);
  z_stream& stream = exchange.stream;
  int& result = exchange.outcome.result;
  result = functions.startInflate(&stream, kGzip, ZLIB_VERSION, sizeof stream);
  while (result == Z_OK) {
    exchange.refill();
    result = functions.inflate(&stream, Z_NO_FLUSH);
    exchange.collect();
    if (result == Z_BUF_ERROR && !exchange.isAllGiven()) result = Z_OK;
  }
  if (stream.msg != nullptr) exchange.outcome.message = stream.msg;
  functions.endInflate(&stream);
  return exchange.outcome;
}

Outcome deflateBytes(const Functions& functions, const Bytes& data, int level,
                     const Pieces& pieces) {
  Exchange exchange(data, pieces);
  z_stream& stream = exchange.stream;
  int& result = exchange.outcome.result;
  result = functions.startDeflate(&stream, level, Z_DEFLATED, kGzip, 8, Z_DEFAULT_STRATEGY,
                                  ZLIB_VERSION, sizeof stream);
  while (result == Z_OK) {
    exchange.refill();
    result = functions.deflate(&stream, exchange.isAllGiven() ? Z_FINISH : Z_NO_FLUSH);
    exchange.collect();
  }
  functions.endDeflate(&stream);
  return exchange.outcome;
}

Bytes deflateRaw(const Bytes& data, int level, int strategy) {
  z_stream stream = {};
  deflateInit2(&stream, level, Z_DEFLATED, -15, 8, strategy);
  Bytes raw(deflateBound(&stream, data.size()));
  stream.next_in = data.data();
  stream.avail_in = static_cast<uInt>(data.size());
  stream.next_out = raw.data();
  stream.avail_out = static_cast<uInt>(raw.size());
  deflate(&stream, Z_FINISH);
  raw.resize(stream.total_out);
  deflateEnd(&stream);
  return raw;
}

namespace {

/// Decodes raw data and gives the bytes of the input behind them.
std::size_t inflateRaw(const Bytes& raw, Bytes& data) {
  z_stream stream = {};
  inflateInit2(&stream, -15);
  stream.next_in = raw.data();
  stream.avail_in = static_cast<uInt>(raw.size());
  stream.next_out = data.data();
  stream.avail_out = static_cast<uInt>(data.size());
  inflate(&stream, Z_FINISH);
  data.resize(stream.total_out);
  inflateEnd(&stream);
  return stream.avail_in;
}

}  // namespace

Bytes wrap(const Bytes& raw) {
  Bytes data(1 << 20);
  const auto end = raw.end() - static_cast<std::ptrdiff_t>(inflateRaw(raw, data));
  Bytes member = {0x1f, 0x8b, Z_DEFLATED, 0, 0, 0, 0, 0, 0, 3};
  member.insert(member.end(), raw.begin(), end);
  const uLong crc = crc32(0, data.data(), static_cast<uInt>(data.size()));
  for (const uLong number : {crc, static_cast<uLong>(data.size())}) {
    for (int i = 0; i < 4; ++i) member.push_back(static_cast<std::uint8_t>(number >> 8 * i));
  }
  member.insert(member.end(), end, raw.end());
  return member;
}

// Where data is damaged, the two need not notice it at the same byte or with the same words. ISA-L
// accepts codes that are not complete, and keeps up to two literals at the end of a cut stream.
std::string difference(const Outcome& expected, const Outcome& actual) {
  const std::size_t sizes[] = {expected.output.size(), actual.output.size()};
  const auto both = [](auto first, auto second) {
    return std::to_string(first) + " and " + std::to_string(second);
  };
  if (!actual.totalsFit) return "totals";
  const auto common = static_cast<std::ptrdiff_t>(std::min(sizes[0], sizes[1]));
  if (!std::equal(expected.output.begin(), expected.output.begin() + common,
                  actual.output.begin())) {
    return "other bytes";
  }
  for (const char* incomplete : {"invalid distances set", "invalid literal/lengths set"}) {
    if (expected.message == incomplete) return "";
  }
  if (expected.result != actual.result) return "results " + both(expected.result, actual.result);
  if (expected.result == Z_DATA_ERROR) return actual.message.empty() ? "no message" : "";
  const std::size_t kept = expected.result == Z_BUF_ERROR ? 2 : 0;
  if (sizes[1] > sizes[0] || sizes[1] + kept < sizes[0]) return "sizes " + both(sizes[0], sizes[1]);
  return expected.consumed == actual.consumed
             ? ""
             : "consumed bytes " + both(expected.consumed, actual.consumed);
}

}  // namespace zlib_test
