#include "cdf/guards.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string_view>
#include <unistd.h>

#include "cdf/call.h"
#include "cdf/notes.h"
#include "cdf/requests.h"

// What stands at each guard was seen with version 3.9.1 of the library, used directly.

namespace tarvik::cdf {

namespace {

constexpr CDFstatus CDF_NAME_TRUNC = -1002;
constexpr CDFstatus VAR_NAME_TRUNC = -1003;
constexpr CDFstatus ATTR_NAME_TRUNC = -1001;
constexpr CDFstatus BAD_DIM_SIZE = -2004;
constexpr CDFstatus BAD_DIM_INDEX = -2005;
constexpr CDFstatus BAD_REC_NUM = -2009;
constexpr CDFstatus BAD_NUM_ELEMS = -2011;
constexpr CDFstatus CDF_OPEN_ERROR = -2012;
constexpr CDFstatus BAD_ALLOCATE_RECS = -2015;
constexpr CDFstatus BAD_BLOCKING_FACTOR = -2031;
constexpr CDFstatus CANNOT_ALLOCATE_RECORDS = -2103;

constexpr CDFstatus allowed = 0;

/// The library counts records, elements and bytes of a record in 32 bits.
constexpr long largest = std::numeric_limits<std::int32_t>::max();

/// The last of `count` numbers from `start` on; none of the three beyond 32 bits.
long lastOf(long start, long count, long interval) {
  return start + (count - 1) * interval;
}

bool endsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

constexpr std::string_view extension = ".cdf";

bool hasExtension(const std::string& path) {
  return endsWith(path, extension) || endsWith(path, ".CDF");
}

bool exists(const std::string& path) {
  return access(path.c_str(), F_OK) == 0;
}

/// The library appends its extension to a path that ends in neither spelling of it.
bool fitsWithExtension(const std::string& path) {
  return path.size() + (hasExtension(path) ? 0 : extension.size()) <= CDF_PATHNAME_LEN;
}

}  // namespace

// A longer path is cut: the file with the cut name is made all the same, with status -1002; and
// where the extension no longer fits, with status 0.
CDFstatus judgePathToCreate(const std::string& path) {
  return fitsWithExtension(path) ? allowed : CDF_NAME_TRUNC;
}

// A longer path is cut and the file with the cut name opened, with status 0. A path without the
// extension may name a file as it stands.
CDFstatus judgePathToOpen(const std::string& path) {
  const bool named = path.size() <= CDF_PATHNAME_LEN && exists(path);
  return named || fitsWithExtension(path) ? allowed : CDF_NAME_TRUNC;
}

// Seen in this order, whichever of the names was asked for.
std::string fileToOpen(const std::string& path) {
  const std::string stem =
      hasExtension(path) ? path.substr(0, path.size() - extension.size()) : path;
  for (const char* end : {".cdf", ".CDF"}) {
    if (exists(stem + end)) {
      return stem + end;
    }
  }
  return path;
}

// Where x.cdf and x.CDF lie side by side, both names open x.cdf.
CDFstatus judgeFileToOpen(const std::string& path, const std::string& opened) {
  return opened != path && hasExtension(path) && exists(path) ? CDF_OPEN_ERROR : allowed;
}

// A name of 256 characters has no end where the library keeps it: the file cannot be opened again
// (-2223). A longer name is cut to that, and the variable is made or renamed all the same.
CDFstatus judgeVariableName(const std::string& name) {
  return name.size() < CDF_VAR_NAME_LEN256 ? allowed : VAR_NAME_TRUNC;
}

CDFstatus judgeAttributeName(const std::string& name) {
  return name.size() < CDF_ATTR_NAME_LEN256 ? allowed : ATTR_NAME_TRUNC;
}

// In a file with such a name, opened without validation, the search reads on behind it and finds
// none or the wrong one.
CDFstatus judgeNameToFind(const std::string& name, CDFstatus missing) {
  return name.size() < std::min(CDF_VAR_NAME_LEN256, CDF_ATTR_NAME_LEN256) ? allowed : missing;
}

// A value of 2147483647 characters crashes. A record of more bytes than 32 bits count divides by
// zero where the count wraps to 0 (extents 65536 by 65536 of CDF_INT4), and otherwise makes a
// variable that no call can read or write: -2035, then -2077 for every call on the file. Dimensions
// that do not vary are not stored and do not count.
CDFstatus judgeShape(const VariableShape& shape) {
  if (shape.numElements >= largest) {
    return BAD_NUM_ELEMS;
  }
  long bytes = 0;
  if (call(GET_, DATATYPE_SIZE_, shape.datatype, &bytes) < 0 || shape.numElements < 1 ||
      shape.dimSizes.size() > CDF_MAX_DIMS) {
    return allowed;  // The library refuses the datatype or the number by itself.
  }
  if (bytes * shape.numElements > largest) {
    return BAD_NUM_ELEMS;
  }
  bytes *= shape.numElements;
  for (std::size_t i = 0; i < shape.dimSizes.size(); ++i) {
    const long size = shape.dimSizes[i];
    if (size < 1) {
      return allowed;  // Refused by the library as well.
    }
    if (shape.dimVarys[i] != VARY) {
      continue;
    }
    if (bytes > largest / size) {
      return BAD_DIM_SIZE;
    }
    bytes *= size;
  }
  return allowed;
}

// Any call with record 2147483647 gives -2102 or -2074, and then -2077 for every call on the file
// until it is closed, as does a negative record in the two record functions. A run of records that
// ends there or beyond crashes in a write (start 0, count 2, interval 2147483647).
CDFstatus judgeRecord(long record) {
  return record < 0 || record >= largest ? BAD_REC_NUM : allowed;
}

CDFstatus judgeRecords(long start, long count, long interval) {
  if (count < 1 || interval < 1) {
    return allowed;  // Refused by the library, each with a status of its own.
  }
  return lastOf(start, count, interval) >= largest ? BAD_REC_NUM : allowed;
}

// A hyperslab read of a variable whose records do not vary, of two records or more with an interval
// of two or more, writes past the room for its values. The records are all alike, so the next one
// serves as well; an interval below 1 is the library's to refuse.
long intervalOfOneRecord(long interval) {
  return std::min(interval, 1L);
}

// Allocating a block up to record 2147483647 crashes. Allocated sparse records are not where the
// library looks for them afterwards: once another variable was deleted, the file cannot be opened
// again (-2223).
CDFstatus judgeAllocation(long last, long sparseRecords) {
  if (sparseRecords != NO_SPARSERECORDS) {
    return CANNOT_ALLOCATE_RECORDS;
  }
  return last >= largest ? BAD_ALLOCATE_RECS : allowed;
}

// Deleting records of a compressed variable that has none succeeds and changes the variable: after
// its compression was taken off, the first write gives -2102, then -2077 for every call on the
// file.
bool deletesNothing(long first, long last, long written) {
  return first <= last && first > written;
}

// While a file is open that is compressed as a whole, the library keeps it uncompressed in memory,
// and in a scratch file where memory is short; its close needs memory for all of it. 600,000,000
// records of 4 bytes within 2 GiB of memory take 97 s to write, and the close loses the file
// (ZLIB_ERROR, 8 bytes left); 2147483646 records of 32 bytes crash in an allocation that fails.
CDFstatus judgeGrowth(long records, long recordBytes) {
  std::size_t bytes = 0;
  const bool counted = !__builtin_mul_overflow(records, recordBytes, &bytes);
  void* volatile room = counted ? std::malloc(bytes) : nullptr;  // Volatile: not optimized away.
  const bool canBeHad = room != nullptr || bytes == 0;
  std::free(room);
  return canBeHad ? allowed : BAD_MALLOC;
}

// What is freed at the end of a file must be one that the library can pass by in opening. Of free
// room it reads 28 bytes, and 12 are before the values of records: the records freed last may be
// shorter (the record of a small variable whose records do not vary, or whose blocking factor is 1;
// a sparse record; a compressed variable's only one), and the file cannot be opened again (-2074).
// So free room is made behind them first. It is that of an attribute, and the library takes the
// first that it finds: each delete that leaves as much room makes some behind it too, since the
// last records of all would not be followed by any otherwise (an attribute, a variable with one
// value; both deleted in that order). 56 bytes are before the value of an entry, 324 are an
// attribute.
bool leavesRoom(long entryBytes) {
  return entryBytes + 56 >= 324;
}

// A block that grows at the end of the file is written up to the last record only, and the rest of
// it as the file is closed; not so where it was freed before. Of CDF_DOUBLE, records 0 and 1500
// written: deleting records 0 and 1 gives -2074, and then -2077 for every call on the file. The
// variable deleted, the close of a file that is compressed as a whole fails and loses it (-2074 or
// -2020), and that of a file with a checksum succeeds and writes one of memory that was never set
// (-2226 in opening). More than that a delete shall not write for; what lies behind helps there as
// a rule.
bool mustBeWritten(long records, long recordBytes) {
  constexpr long mostBytes = 1L << 26;
  return recordBytes > 0 && records <= mostBytes / recordBytes;
}

// Staged records are written in the middle of a delete, behind the room that was made; or, where
// the room is, some into it, and the delete fails (CDF_BYTE of 114, compressed by GZIP.6; records
// 9, 28, 2081, 239 and 1050 written, 14 to 34 deleted: -2074, and then -2077 for every call on the
// file). They are written before by a delete of the record behind the last, which there must be:
// see deletesNothing() and judgeRecord().
//
// Sparse records that are staged beyond the block that holds them are written with one more, over
// the free room that follows. The file cannot be opened again (-2223) where a variable was deleted
// and then, with a blocking factor of 1, the sparse records 1, 2, 3 and 200 of CDF_DOUBLE were
// written. They are written before a record that does not follow the last.
bool mayBeStaged(bool staged, long written) {
  return staged && written >= 0 && written + 1 < largest;
}

// The library copies a file that it begins or ends to compress as a whole up to its end, where it
// has not written yet what was allocated and holds no record. That fails (-2074) and loses the file
// where this part begins before a multiple of 131072 bytes and ends behind it: 1001 records of 256
// bytes and, of a second variable, one of 64. An attribute at the end is written as it is made;
// where there was free room elsewhere, it is not at the end, and the records are written.
bool needsWrittenEnd(long compressionBefore, long compression) {
  return compressionBefore != NO_COMPRESSION || compression != NO_COMPRESSION;
}

// The library looks at how a variable is stored once, as it first has to do with its records. Of
// one that it met compressed and that is compressed no longer, or of one with sparse records that
// were all deleted and that is compressed then, it writes records as if nothing had changed. That
// fails (-2102, and then -2077 for every call on the file), never ends, or leaves a file of
// gigabytes, as the memory is that it takes.
CDFstatus judgeCompression(long before, long compression, const VariableNotes& notes) {
  constexpr CDFstatus CANNOT_COMPRESS = -2091;
  const bool was = before != NO_COMPRESSION, is = compression != NO_COMPRESSION;
  const bool survives = is ? was || !notes.deletedFrom : !was || notes.metPlain;
  return survives ? allowed : CANNOT_COMPRESS;
}

// Records of fewer than 16 bytes that are freed leave room that is shorter than the 28 bytes that
// the library writes of it otherwise, and reads as the block before grows by just this room: it
// goes where the records' values point, and the file is lost (CDF_INT4 of 3, blocking factor 1:
// record 8 written, 7 deleted, 5 to 7 deleted, 8 written: -2074, and then -2077 for every call on
// the file). As much may be left in the block itself, so that growth by twice as many bytes is
// safe; and sparse records, which are allocated as they come, are when they come one by one.
constexpr long shortestRoom = 28;

bool leavesSmallRoom(long recordBytes) {
  constexpr long beforeRecords = 12;
  return 0 < recordBytes && recordBytes < shortestRoom - beforeRecords;
}

long leastGrowth(long recordBytes) {
  const bool fits = 0 < recordBytes && recordBytes < shortestRoom;
  return fits ? (2 * shortestRoom + recordBytes - 1) / recordBytes : 1;
}

// As the records of a compressed variable were deleted, the library lets its factor be set to 0
// again, which it does not while there are some, and then fails with the next record (-2102) and
// loses the file.
CDFstatus judgeFactorAfterDeletes(long compression, long factor) {
  constexpr CDFstatus CANNOT_CHANGE = -2051;
  return compression > NO_COMPRESSION && factor == 0 ? CANNOT_CHANGE : allowed;
}

// A block that starts behind record 0 and ends beyond 32 bits loses the file (-2055, -2102 or a
// crash): a factor of 2147483647, and a new block as the first one is full; sparse record
// 2147483000 of CDF_INT4. Without a factor a block has some 8192 bytes.
CDFstatus judgeBlockingFactor(long factor) {
  return factor >= farRecord ? BAD_BLOCKING_FACTOR : allowed;
}

CDFstatus judgeSparseBlock(long last, long factor) {
  constexpr long mostByDefault = 16384;
  return last + (factor > 0 ? factor : mostByDefault) > largest ? BAD_REC_NUM : allowed;
}

// A last index beyond 32 bits wraps past the library's own check: index 0, count 3 and interval
// 2147483647 crash in a read and in a write.
CDFstatus judgeDimensions(const Longs& indices, const Longs& counts, const Longs& intervals) {
  for (std::size_t i = 0; i < indices.size(); ++i) {
    if (counts[i] > 0 && intervals[i] > 0 &&
        lastOf(indices[i], counts[i], intervals[i]) > largest) {
      return BAD_DIM_INDEX;
    }
  }
  return allowed;
}

// The number of elements is cut to its low 32 bits: an entry of 4294967297 elements is written as
// one of 1.
CDFstatus judgeEntrySize(std::size_t count) {
  return count > static_cast<std::size_t>(largest) ? BAD_NUM_ELEMS : allowed;
}

}  // namespace tarvik::cdf
