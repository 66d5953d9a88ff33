/// A file's bytes as the CDF format lays them out: fields of 4 or 8 bytes, the first one the most
/// significant.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace tarvik::cdf {

/// Bytes that lie one behind the other.
struct ByteRun {
  const std::uint8_t* first;
  std::size_t count;
};

/// Reads a file, or an image of one in memory, in pages, of which it keeps some. Reading beyond the
/// end, or where the system fails, gives zeros.
class FileBytes {
 public:
  explicit FileBytes(const std::string& path);
  explicit FileBytes(std::vector<std::uint8_t> image)
      : size_(image.size()), image_(std::move(image)) {}
  ~FileBytes();
  FileBytes(const FileBytes&) = delete;
  FileBytes& operator=(const FileBytes&) = delete;

  /// In bytes; 0 for what is not a readable file.
  std::uint64_t size() const { return size_; }

  std::uint8_t at(std::uint64_t place) { return *runAt(place).first; }
  /// What was read together from a place on: at least its byte. It stays until the next call.
  ByteRun runAt(std::uint64_t place) {
    if (last_ == nullptr || place / pageSize != lastNumber_) {
      turnTo(place / pageSize);
    }
    const std::size_t skipped = place % pageSize;
    return {last_->data() + skipped, pageSize - skipped};
  }

 private:
  static constexpr std::size_t pageSize = 16384;
  static constexpr std::size_t mostPages = 64;
  using Page = std::array<std::uint8_t, pageSize>;

  void turnTo(std::uint64_t number);

  int descriptor_ = -1;  ///< None for an image.
  std::uint64_t size_ = 0;
  std::vector<std::uint8_t> image_;
  std::uint64_t lastNumber_ = 0;
  const Page* last_ = nullptr;
  std::unordered_map<std::uint64_t, std::unique_ptr<Page>> pages_;
};

/// Reads the fields of a record one after the other.
class Fields {
 public:
  /// `wide` is for files since version 3, whose sizes and places have 8 bytes.
  Fields(FileBytes& bytes, std::uint64_t place, bool wide)
      : bytes_(&bytes), place_(place), wide_(wide) {}

  std::uint8_t byte() { return bytes_->at(place_++); }
  std::int32_t number() { return static_cast<std::int32_t>(unsignedOf(4)); }
  /// A size or a place in the file; negative where it is none.
  std::int64_t offset();
  Fields& skipNumbers(std::uint64_t count) { return skip(4 * count); }
  Fields& skipOffsets(std::uint64_t count) { return skip((wide_ ? 8 : 4) * count); }
  Fields& skip(std::uint64_t count);

 private:
  std::uint64_t unsignedOf(int count);

  FileBytes* bytes_;
  std::uint64_t place_;
  bool wide_;
};

}  // namespace tarvik::cdf
