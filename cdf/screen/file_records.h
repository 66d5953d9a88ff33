/// The internal records of a CDF file: each begins with its size and type, and most with the place
/// of the next of their chain. The layouts are those of the CDF Internal Format Description, whose
/// names are used here.
#pragma once

#include <cstdint>

#include "cdf/screen/extents.h"
#include "cdf/screen/file_bytes.h"

namespace tarvik::cdf {

enum class RecordType : std::int32_t {
  UIR = -1,
  CDR = 1,
  GDR = 2,
  rVDR = 3,
  ADR = 4,
  AgrEDR = 5,
  VXR = 6,
  VVR = 7,
  zVDR = 8,
  AzEDR = 9,
  CCR = 10,
  CPR = 11,
  CVVR = 13
};

/// A chain of records: the place of the first, and how many there should be.
struct Chain {
  std::int64_t head;
  RecordType type;
  std::int32_t count;
};

class FileRecords {
 public:
  static constexpr std::int64_t first = 8;

  /// `wide` is for files since version 3.
  FileRecords(FileBytes& bytes, bool wide)
      : bytes_(&bytes),
        length_(static_cast<std::int64_t>(bytes.size())),
        end_(length_),
        wide_(wide) {}

  std::int64_t length() const { return length_; }  ///< Of the file.
  bool isWide() const { return wide_; }
  std::int64_t headSize() const { return wide_ ? 12 : 8; }
  std::int64_t sizeAt(std::int64_t place) { return fieldsAt(place).offset(); }
  RecordType typeAt(std::int64_t place) {
    return static_cast<RecordType>(fieldsAt(place).skipOffsets(1).number());
  }
  Fields fieldsAt(std::int64_t place) {
    return {*bytes_, static_cast<std::uint64_t>(place), wide_};
  }
  /// The fields behind size and type.
  Fields contentAt(std::int64_t place) { return fieldsAt(place + headSize()); }

  /// Where the file should end; a file that was cut off ends before.
  void setEnd(std::int64_t end) { end_ = end; }

  /// Whether a record could begin there.
  bool begins(std::int64_t place) const { return place >= first && place <= length_ - headSize(); }
  /// Whether a whole record of the type stands there, which was not met before.
  bool stands(std::int64_t place, RecordType type) {
    return isWhole(place, type) && extents_.add(place, sizeAt(place));
  }
  /// The same for a record that may be met more than once.
  bool standsShared(std::int64_t place, RecordType type) {
    if (!isWhole(place, type)) {
      return false;
    }
    extents_.addShared(place, sizeAt(place));
    return true;
  }
  /// Whether a record that begins there has at least the size and lies before the file's end. The
  /// rest of it may be cut off.
  bool isRoom(std::int64_t place, std::int64_t least) {
    const std::int64_t size = sizeAt(place);
    return size >= least && size <= end_ - place && extents_.add(place, size);
  }
  /// Whether no two of the records that were met overlap, and all lie before the file's end.
  bool areApart() { return extents_.areApart(end_); }

  /// Whether a chain of records has as many as it should, and `fits` says so of each, which gets
  /// its place and the fields behind the link to the next.
  template <typename Fits>
  bool chainFits(const Chain& chain, Fits fits) {
    std::int64_t place = chain.head;
    for (std::int32_t i = 0; i < chain.count; ++i) {
      if (!stands(place, chain.type)) {
        return false;
      }
      Fields fields = contentAt(place);
      const std::int64_t next = fields.offset();
      if (!fits(place, fields)) {
        return false;
      }
      place = next;
    }
    return chain.count >= 0 && place == 0;
  }

 private:
  bool isWhole(std::int64_t place, RecordType type) {
    return begins(place) && typeAt(place) == type && sizeAt(place) >= headSize() &&
           sizeAt(place) <= length_ - place;
  }

  FileBytes* bytes_;
  std::int64_t length_;
  std::int64_t end_;
  bool wide_;
  Extents extents_;
};

}  // namespace tarvik::cdf
