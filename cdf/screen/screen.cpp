#include "cdf/screen/screen.h"

#include <cstdint>
#include <utility>

#include "cdf/library.h"
#include "cdf/screen/compressed.h"
#include "cdf/screen/file_bytes.h"
#include "cdf/screen/file_records.h"
#include "cdf/screen/variables.h"

// What the library does with a bad value was seen with version 3.9.1.

namespace tarvik::cdf {

namespace {

constexpr CDFstatus CORRUPTED_V2_CDF = -2028;
constexpr CDFstatus CORRUPTED_V3_CDF = -2223;
constexpr CDFstatus ZLIB_UNCOMPRESS_ERROR = -2232;

constexpr std::uint32_t MARK_OLDEST = 0x0000FFFF;
constexpr std::uint32_t MARK_2_6 = 0xCDF26002;
constexpr std::uint32_t MARK_3 = 0xCDF30001;
constexpr std::uint32_t MARK_COMPRESSED = 0xCCCC0001;

/// No encoding that a file can be in; the library crashes in decoding from it.
constexpr std::int32_t HOST_ENCODING = 8;

/// Flags of a file.
constexpr std::int32_t ROW_MAJOR_FLAG = 1;
constexpr std::int32_t SINGLE = 2;
constexpr std::int32_t SINGLE_WITH_MD5 = SINGLE | 4 | 8;
constexpr std::int64_t checksumBytes = 16;

bool entriesFit(FileRecords& records, const Chain& chain, std::int32_t highest,
                std::int32_t attribute) {
  return records.chainFits(chain, [&](std::int64_t place, Fields fields) {
    const std::int32_t ofAttribute = fields.number();
    const std::int32_t number = fields.skipNumbers(1).number();
    const std::int32_t numElements = fields.number();
    return ofAttribute == attribute && number >= 0 && number <= highest && numElements > 0 &&
           numElements <= records.sizeAt(place);
  });
}

// The library takes the number of an attribute, and those of its entries, as indices up to what is
// said to be the highest, and follows the chains of entries as often as their counts say.
bool attributesFit(FileRecords& records, const Chain& chain) {
  return records.chainFits(chain, [&](std::int64_t, Fields fields) {
    Chain global = {fields.offset(), RecordType::AgrEDR, 0};
    const std::int32_t number = fields.skipNumbers(1).number();
    global.count = fields.number();
    const std::int32_t highestGlobal = fields.number();
    Chain ofVariables = {fields.skipNumbers(1).offset(), RecordType::AzEDR, 0};
    ofVariables.count = fields.number();
    const std::int32_t highestOfVariables = fields.number();
    return number >= 0 && number < chain.count &&
           entriesFit(records, global, highestGlobal, number) &&
           entriesFit(records, ofVariables, highestOfVariables, number);
  });
}

// The library looks through the list of free room for each record that it adds, and writes into
// what it finds there. Its links back, which it follows too, leave no way for a list to be endless.
bool freeRoomFits(FileRecords& records, std::int64_t head) {
  const std::int64_t least = records.headSize() + (records.isWide() ? 16 : 8);
  for (std::int64_t place = head, before = 0; place != 0;) {
    if (!records.begins(place) || records.typeAt(place) != RecordType::UIR ||
        !records.isRoom(place, least)) {
      return false;
    }
    Fields links = records.contentAt(place);
    const std::int64_t next = links.offset();
    if (links.offset() != before) {
      return false;
    }
    before = std::exchange(place, next);
  }
  return true;
}

/// The library takes the gap out of the descriptions of a file that it writes to, and gives the
/// file another mark; the version stays.
bool hasGap(std::uint32_t mark, std::int32_t version, std::int32_t release) {
  return mark == MARK_OLDEST && (version < 2 || (version == 2 && release < 5));
}

bool descriptionsFit(FileRecords& records, std::uint32_t mark) {
  if (!records.stands(FileRecords::first, RecordType::CDR)) {
    return false;
  }
  Fields header = records.contentAt(FileRecords::first);
  const std::int64_t place = header.offset();
  const std::int32_t version = header.number();
  const std::int32_t release = header.number();
  if (header.number() == HOST_ENCODING || !records.stands(place, RecordType::GDR)) {
    return false;
  }
  Fields fields = records.contentAt(place);
  Chain rVariables = {fields.offset(), RecordType::rVDR, 0};
  Chain zVariables = {fields.offset(), RecordType::zVDR, 0};
  Chain attributes = {fields.offset(), RecordType::ADR, 0};
  records.setEnd(fields.offset());
  rVariables.count = fields.number();
  attributes.count = fields.number();
  const std::int32_t numRDimensions = fields.skipNumbers(1).number();
  zVariables.count = fields.number();
  const std::int64_t freeRoom = fields.offset();
  const VariableLayout layout = {{numRDimensions, fields.skipNumbers(3)},
                                 hasGap(mark, version, release)};
  return attributesFit(records, attributes) && variablesFit(records, rVariables, layout) &&
         variablesFit(records, zVariables, layout) && freeRoomFits(records, freeRoom) &&
         records.areApart();
}

/// Where the file ends by its own description, which stands.
std::int64_t describedEnd(FileRecords& records) {
  const std::int64_t place = records.contentAt(FileRecords::first).offset();
  return records.contentAt(place).skipOffsets(3).offset();
}

// The library verifies the checksum at a file's end only if the flags say that there is one. Taking
// it off, it leaves its bytes there, but not in a file that is compressed as a whole, which it
// writes anew.
bool flagsFitChecksum(FileRecords& records, bool compressed) {
  Fields header = records.contentAt(FileRecords::first).skipOffsets(1);
  const std::int32_t flags = header.skipNumbers(3).number();
  return !records.isWide() || (flags & ~ROW_MAJOR_FLAG) == SINGLE_WITH_MD5 ||
         (!compressed && (flags & ~(ROW_MAJOR_FLAG | SINGLE)) == 0);
}

bool plainFits(FileRecords& records, std::uint32_t mark) {
  return descriptionsFit(records, mark) &&
         (describedEnd(records) != records.length() - checksumBytes ||
          flagsFitChecksum(records, false));
}

CDFstatus statusOf(bool fits, std::uint32_t mark) {
  return fits ? 0 : mark == MARK_3 ? CORRUPTED_V3_CDF : CORRUPTED_V2_CDF;
}

// The library crashes if a decoded file ends before the end that is described.
CDFstatus imageStatus(Image image, std::uint32_t mark, bool hasChecksum) {
  if (image.isRefused) {
    return ZLIB_UNCOMPRESS_ERROR;
  }
  FileBytes bytes(std::move(image.bytes));
  FileRecords records(bytes, mark == MARK_3);
  const bool fits = !image.isDangerous && (!hasChecksum || flagsFitChecksum(records, true)) &&
                    (!image.isWhole ||
                     (descriptionsFit(records, mark) && describedEnd(records) <= records.length()));
  return statusOf(fits, mark);
}

// The library allocates as many bytes as the uncompressed size says and reads the record into as
// many as its own size says.
CDFstatus compressedStatus(FileBytes& bytes, FileRecords& records, std::uint32_t mark) {
  const std::int64_t place = FileRecords::first;
  if (!records.stands(place, RecordType::CCR)) {
    return statusOf(false, mark);
  }
  Fields fields = records.contentAt(place);
  const std::int64_t parameters = fields.offset();
  const std::int64_t uncompressedSize = fields.offset();
  const std::int64_t headSize = records.headSize() + (records.isWide() ? 20 : 12);
  const Stream stream = {&bytes, static_cast<std::uint64_t>(place + headSize),
                         records.sizeAt(place) - headSize, uncompressedSize};
  if (!records.stands(parameters, RecordType::CPR) || stream.size < 1 || uncompressedSize < 1 ||
      uncompressedSize / mostInflation > stream.size) {
    return statusOf(false, mark);
  }
  const bool hasChecksum =
      records.length() - parameters - records.sizeAt(parameters) == checksumBytes;
  switch (records.contentAt(parameters).number()) {
    case RLE_COMPRESSION:
      return imageStatus(decodeRunLengths(stream), mark, hasChecksum);
    case GZIP_COMPRESSION:
      return imageStatus(inflateStream(stream), mark, hasChecksum);
    default:
      return 0;
  }
}

}  // namespace

CDFstatus screenFile(const std::string& path) {
  FileBytes bytes(path);
  Fields marks(bytes, 0, false);
  const auto mark = static_cast<std::uint32_t>(marks.number());
  const auto kind = static_cast<std::uint32_t>(marks.number());
  const bool wide = mark == MARK_3;
  if (!wide && mark != MARK_2_6 && mark != MARK_OLDEST) {
    return 0;
  }
  FileRecords records(bytes, wide);
  return kind == MARK_COMPRESSED ? compressedStatus(bytes, records, mark)
                                 : statusOf(plainFits(records, mark), mark);
}

}  // namespace tarvik::cdf
