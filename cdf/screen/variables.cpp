#include "cdf/screen/variables.h"

#include <limits>

#include "cdf/library.h"

// What the library does with a bad value was seen with version 3.9.1.

namespace tarvik::cdf {

namespace {

constexpr std::int64_t largest = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t mostDimensions = CDF_MAX_DIMS;
constexpr std::int32_t COMPRESSED = 4;  // of a variable's flags
constexpr std::int32_t notCompressed = NO_COMPRESSION;
constexpr std::int64_t nowhere = -1;
constexpr std::int64_t gzipTrailer = 8;  // A checksum, then the length of the data.
/// The library gives an index another level about each time that its parts triple.
constexpr int mostLevels = 64;

/// The bytes that are stored of a record; 0 or less where the description makes no sense. A number
/// has one element: the transfer of any more would leave the caller's memory.
std::int64_t recordBytes(std::int32_t datatype, std::int32_t numElements, Dimensions dimensions,
                         Fields variances) {
  std::int64_t product = std::int64_t{datatypeBytes(datatype)} * numElements;
  if (dimensions.count < 0 || dimensions.count > mostDimensions ||
      (numElements != 1 && !isText(datatype))) {
    return 0;
  }
  for (std::int32_t i = 0; i < dimensions.count; ++i) {
    const std::int32_t size = dimensions.sizes.number();
    if (size < 1 || product > largest) {
      return 0;
    }
    product *= variances.number() == 0 ? 1 : size;
  }
  return product;
}

/// Goes along the index of a variable's records, and into those below it, as the library does
/// without end. It also goes through the records of a compressed block one by one, and frees all
/// that a block says it has.
class Index {
 public:
  Index(FileRecords& records, std::int64_t recordBytes, std::int32_t compression, std::int64_t tail)
      : records_(records), recordBytes_(recordBytes), compression_(compression), tail_(tail) {}

  /// Both ends are 0 or -1 where there is no index; else the tail is one of its parts.
  bool fits(std::int64_t head) {
    return head <= 0 ? head >= nowhere && tail_ <= 0 : partsFit(head, mostLevels) && tailSeen_;
  }

 private:
  bool partsFit(std::int64_t place, int levels) {
    for (; place != 0; place = records_.contentAt(place).offset()) {
      if (levels == 0 || !records_.stands(place, RecordType::VXR) || !entriesFit(place, levels)) {
        return false;
      }
      tailSeen_ = tailSeen_ || place == tail_;
    }
    return true;
  }

  bool entriesFit(std::int64_t place, int levels) {
    Fields fields = records_.contentAt(place).skipOffsets(1);
    const std::int32_t numEntries = fields.number();
    const std::int32_t numUsed = fields.number();
    if (numUsed < 1 || numUsed > numEntries) {
      return false;
    }
    const auto entries = static_cast<std::uint64_t>(numEntries);
    Fields firsts = fields;
    Fields lasts = fields.skipNumbers(entries);
    Fields blocks = fields.skipNumbers(entries);
    for (std::int32_t i = 0; i < numUsed; ++i) {
      const std::int64_t before = firsts.number() - std::int64_t{1};
      if (!blockFits(blocks.offset(), lasts.number() - before, levels)) {
        return false;
      }
    }
    return true;
  }

  bool blockFits(std::int64_t place, std::int64_t numRecords, int levels) {
    if (numRecords < 1 || !records_.begins(place)) {
      return false;
    }
    switch (records_.typeAt(place)) {
      case RecordType::VXR:
        return partsFit(place, levels - 1);
      case RecordType::VVR:
        return numRecords <= largest &&
               records_.isRoom(place, records_.headSize() + numRecords * recordBytes_);
      case RecordType::CVVR:
        return compression_ != notCompressed &&
               numRecords * recordBytes_ / mostInflation <= records_.sizeAt(place) &&
               records_.isRoom(place, records_.headSize()) &&
               (compression_ != GZIP_COMPRESSION ||
                gzipLengthFits(place, numRecords * recordBytes_));
      default:
        return false;
    }
  }

  // The library takes a block of another length than its records have for damaged only when it
  // reads the block; an edit of the file is lost by then.
  bool gzipLengthFits(std::int64_t place, std::int64_t bytes) {
    Fields fields = records_.contentAt(place).skipNumbers(1);
    const std::int64_t size = fields.offset();
    const std::int64_t headSize = records_.headSize() + (records_.isWide() ? 12 : 8);
    if (size < gzipTrailer || size > records_.sizeAt(place) - headSize) {
      return false;
    }
    fields.skip(static_cast<std::uint64_t>(size) - 4);
    std::uint32_t length = 0;
    for (unsigned shift = 0; shift < 32; shift += 8) {
      length |= static_cast<std::uint32_t>(fields.byte()) << shift;
    }
    return length == static_cast<std::uint32_t>(bytes);
  }

  FileRecords& records_;
  std::int64_t recordBytes_;
  std::int32_t compression_;
  std::int64_t tail_;
  bool tailSeen_ = false;
};

// A compressed block is of as many records as the blocking factor says. The library counts its
// bytes in 32 bits and then writes beyond its room. Deleting a variable frees the parameters of its
// compression, also where the flags say that it has none.
bool variableFits(FileRecords& records, Fields fields, const Chain& chain,
                  const VariableLayout& layout) {
  const std::int32_t datatype = fields.number();
  const std::int32_t lastRecord = fields.number();
  const std::int64_t indexHead = fields.offset();
  const std::int64_t indexTail = fields.offset();
  const std::int32_t flags = fields.number();
  const bool isCompressed = (flags & COMPRESSED) != 0;
  const std::int32_t numElements = fields.skipNumbers(4).skip(layout.hasGap ? 128 : 0).number();
  const std::int32_t number = fields.number();
  const std::int64_t parameters = fields.offset();
  const std::int32_t blockingFactor = fields.number();
  fields.skip(records.isWide() ? 256 : 64);
  Dimensions dimensions = layout.ofRVariables;
  if (chain.type == RecordType::zVDR) {
    dimensions.count = fields.number();
    dimensions.sizes = fields;
    fields.skipNumbers(static_cast<std::uint32_t>(dimensions.count));
  }
  const std::int64_t bytes = recordBytes(datatype, numElements, dimensions, fields);
  return lastRecord >= -1 && number >= 0 && number < chain.count && blockingFactor >= 0 &&
         bytes > 0 && bytes <= largest &&
         (isCompressed ? blockingFactor <= largest / bytes &&
                             records.standsShared(parameters, RecordType::CPR)
                       : parameters == 0 || parameters == nowhere) &&
         Index(records, bytes,
               isCompressed ? records.contentAt(parameters).number() : notCompressed, indexTail)
             .fits(indexHead);
}

}  // namespace

bool variablesFit(FileRecords& records, const Chain& chain, const VariableLayout& layout) {
  return records.chainFits(chain, [&](std::int64_t, Fields fields) {
    return variableFits(records, fields, chain, layout);
  });
}

}  // namespace tarvik::cdf
