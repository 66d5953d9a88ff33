/// The internal records of a CDF file: each begins with its size and type, and most with the place
/// of the next of their chain. The layouts are those of the CDF Internal Format Description, whose
/// names are used here.
#pragma once

#include <cstdint>

#include "cdf/screen/file_bytes.h"

namespace tarvik::cdf {

enum class RecordType : std::int32_t {
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
        wide_(wide),
        left_(length_ / headSize() + first) {}

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

  /// Whether a record could begin there. It counts: more records than the file has room for cannot
  /// be met without meeting some twice, and then there are none any more.
  bool begins(std::int64_t place) {
    return place >= first && place <= length_ - headSize() && --left_ >= 0;
  }
  /// Whether a whole record of the type stands there.
  bool stands(std::int64_t place, RecordType type) {
    return begins(place) && typeAt(place) == type && sizeAt(place) >= headSize() &&
           sizeAt(place) <= length_ - place;
  }

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
  FileBytes* bytes_;
  std::int64_t length_;
  bool wide_;
  std::int64_t left_;
};

}  // namespace tarvik::cdf
