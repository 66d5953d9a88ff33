#include "cdf/guards.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

// What the library does was seen with version 3.9.1, called directly.

namespace tarvik::cdf {

namespace {

constexpr CDFstatus ATTR_NAME_TRUNC = -1001;
constexpr CDFstatus CDF_NAME_TRUNC = -1002;
constexpr CDFstatus VAR_NAME_TRUNC = -1003;
constexpr CDFstatus BAD_DIM_SIZE = -2004;
constexpr CDFstatus BAD_DIM_INDEX = -2005;
constexpr CDFstatus BAD_REC_NUM = -2009;
constexpr CDFstatus BAD_NUM_ELEMS = -2011;
constexpr CDFstatus CDF_OPEN_ERROR = -2012;
constexpr CDFstatus CDF_CREATE_ERROR = -2013;
constexpr CDFstatus BAD_ALLOCATE_RECS = -2015;
constexpr CDFstatus BAD_MALLOC = -2026;
constexpr CDFstatus BAD_REC_COUNT = -2037;
constexpr CDFstatus BAD_REC_INTERVAL = -2038;
constexpr CDFstatus BAD_DIM_COUNT = -2039;

/// The library counts records, values and bytes in 32 bits.
constexpr long largest = std::numeric_limits<std::int32_t>::max();

/// The last of `count` numbers from `start` on. Each of the three fits 32 bits.
long lastOf(long start, long count, long interval) {
  return start + (count - 1) * interval;
}

long valueBytes(const VariableDescription& variable) {
  return datatypeBytes(variable.datatype) * variable.numElements;
}

bool canAllocate(std::size_t bytes) {
  void* volatile memory = std::malloc(bytes);  // Volatile: not optimized away.
  const bool allocated = memory != nullptr;
  std::free(memory);
  return allocated;
}

constexpr std::string_view extension = ".cdf";

/// The library does not see blanks at the end of a path.
std::string withoutBlanks(const std::string& path) {
  return path.substr(0, path.find_last_not_of(' ') + 1);
}

/// In any letter case, as the library has it.
bool hasExtension(std::string_view path) {
  if (path.size() < extension.size()) {
    return false;
  }
  const std::string_view end = path.substr(path.size() - extension.size());
  return std::equal(end.begin(), end.end(), extension.begin(), [](char given, char lower) {
    return std::tolower(static_cast<unsigned char>(given)) == lower;
  });
}

bool exists(const std::string& path) {
  return access(path.c_str(), F_OK) == 0;
}

/// A pipe, a socket, a device or a folder, also behind a symbolic link.
bool isSpecial(const std::string& path) {
  struct stat facts = {};
  return ::stat(path.c_str(), &facts) == 0 && !S_ISREG(facts.st_mode);
}

/// The library appends its extension to a path that does not end in it.
bool fitsWithExtension(const std::string& path) {
  return path.size() + (hasExtension(path) ? 0 : extension.size()) <= CDF_PATHNAME_LEN;
}

std::string withoutExtension(const std::string& path) {
  return hasExtension(path) ? path.substr(0, path.size() - extension.size()) : path;
}

/// The file that the library creates for a path.
std::string fileToCreate(const std::string& path) {
  return withoutExtension(hasExtension(path) ? path : withoutBlanks(path)).append(extension);
}

}  // namespace

// The library cuts a longer path and makes the file with the cut name, with status -1002. Where the
// extension no longer fits, the status is 0.
//
// It opens a named pipe as a file and crashes. On /dev/null it reports success, and all is lost.
// A folder or a socket it refuses with the status that is given here.
CDFstatus checkPathToCreate(const std::string& path) {
  if (!fitsWithExtension(path)) {
    return CDF_NAME_TRUNC;
  }
  return isSpecial(fileToCreate(path)) ? CDF_CREATE_ERROR : 0;
}

// The library uses some allocations without looking whether it got them. Opening crashes with less
// than 3.2 MiB left where the file is compressed as a whole.
CDFstatus checkMemoryToOpen() {
  constexpr std::size_t needed = std::size_t{8} << 20;
  return canAllocate(needed) ? 0 : BAD_MALLOC;
}

// Tried in this order, whichever of the names was asked for.
std::string fileToOpen(const std::string& path) {
  std::string given = withoutBlanks(path);
  const std::string stem = withoutExtension(given);
  for (const char* end : {".cdf", ".CDF"}) {
    if (exists(stem + end)) {
      return stem + end;
    }
  }
  return given;
}

// The library cuts a longer path and opens the file with the cut name, with status 0. A path
// without the extension may name a file as it stands. Where x.cdf and x.CDF, or x.cdf and "x.cdf ",
// lie side by side, both names open x.cdf.
CDFstatus checkPathToOpen(const std::string& path) {
  const bool named = path.size() <= CDF_PATHNAME_LEN && exists(path);
  if (!named && !fitsWithExtension(path)) {
    return CDF_NAME_TRUNC;
  }
  const bool another = fileToOpen(path) != path && hasExtension(withoutBlanks(path));
  return named && another ? CDF_OPEN_ERROR : 0;
}

// The library cuts a longer name, and makes or renames the variable or attribute all the same.
CDFstatus checkVariableName(const std::string& name) {
  return name.size() > CDF_VAR_NAME_LEN256 ? VAR_NAME_TRUNC : 0;
}

CDFstatus checkAttributeName(const std::string& name) {
  return name.size() > CDF_ATTR_NAME_LEN256 ? ATTR_NAME_TRUNC : 0;
}

// The library allocates two values and crashes if it cannot. A record of more bytes than 32 bits
// count crashes in the first read or write, or is stored wrong: extents 65536 by 65536 of CDF_INT4,
// for instance. Dimensions that do not vary are not stored and do not count. What the library
// refuses by itself passes: another datatype, a number or extent below 1, more than 10 dimensions.
CDFstatus checkShape(const VariableDescription& variable) {
  if (variable.dimSizes.size() > CDF_MAX_DIMS) {
    return 0;
  }
  long bytes = valueBytes(variable);
  if (bytes > largest) {
    return BAD_NUM_ELEMS;
  }
  if (bytes > 0 && !canAllocate(2 * static_cast<std::size_t>(bytes))) {
    return BAD_MALLOC;
  }
  for (std::size_t i = 0; i < variable.dimSizes.size() && bytes > 0; ++i) {
    bytes *= variable.dimVarys[i] == VARY ? variable.dimSizes[i] : 1;
    if (bytes > largest) {
      return BAD_DIM_SIZE;
    }
  }
  return 0;
}

// If records do not vary, any number means the one record. Otherwise a write of record 2147483647
// crashes for compressed sparse variables and in a file that is
// compressed as a whole, and loses the file for others. A read of one value gives the pad value.
CDFstatus checkRecordToWrite(long record, long recVary) {
  return recVary != NOVARY && record >= largest ? BAD_REC_NUM : 0;
}

// The record functions crash for record 2147483647 and for negative records, where a variable is
// compressed (record -5, for instance). The item interface refuses negative records by itself.
CDFstatus checkRecord(long record, long recVary) {
  return recVary != NOVARY && (record < 0 || record >= largest) ? BAD_REC_NUM : 0;
}

// A last record of 2147483647 or more, or a last index of more, passes the library's own check: the
// transfer crashes, or reads and writes foreign memory (record start 0, count 2, interval
// 2147483647; index 0, count 3, interval 2147483647). The library refuses counts and intervals
// below 1 by itself.
//
// It counts in 32 bits: the values of a transfer, the bytes of a record if a dimension does not
// vary, and all bytes if the records do not vary. A transfer of more crashes, or moves as many as
// the low bits say and succeeds.
CDFstatus checkHyperslab(const Hyperslab& slab, const VariableDescription& variable) {
  if (slab.recordCount < 1 || slab.recordInterval < 1) {
    return 0;
  }
  const Longs& varys = variable.dimVarys;
  const bool recordsVary = variable.recVary != NOVARY;
  if (recordsVary && lastOf(slab.recordStart, slab.recordCount, slab.recordInterval) >= largest) {
    return BAD_REC_NUM;
  }
  const bool dimensionsVary = std::find(varys.begin(), varys.end(), NOVARY) == varys.end();
  long size = recordsVary && dimensionsVary ? 1 : valueBytes(variable);
  for (std::size_t i = 0; i < slab.indices.size(); ++i) {
    if (slab.counts[i] < 1 || slab.intervals[i] < 1) {
      return 0;
    }
    if (lastOf(slab.indices[i], slab.counts[i], slab.intervals[i]) > largest) {
      return BAD_DIM_INDEX;
    }
    size *= slab.counts[i];
    if (size > largest) {
      return BAD_DIM_COUNT;
    }
  }
  const bool oneByOne = recordsVary && !dimensionsVary;
  return !oneByOne && size * slab.recordCount > largest ? BAD_REC_COUNT : 0;
}

// A record counts as whole if it is read as it is stored: once along a dimension that does not
// vary.
//
// A read of two whole records or more of a variable whose records do not vary writes past the
// caller's memory if the record interval is 2 or more. A write stays in bounds.
//
// Whole records that follow each other are read at once, and their characters counted in 32 bits:
// 2147484 texts of 1000 characters give -2020, and the handle is dead; of 4294968 texts only the
// first is read, with status 0.
CDFstatus checkHyperslabToRead(const Hyperslab& slab, const VariableDescription& variable) {
  const CDFstatus status = checkHyperslab(slab, variable);
  if (status < 0) {
    return status;
  }
  long elements = variable.numElements;
  for (std::size_t i = 0; i < slab.counts.size(); ++i) {
    const long stored = variable.dimVarys[i] == NOVARY ? 1 : variable.dimSizes[i];
    if (slab.counts[i] != stored) {
      return 0;
    }
    elements *= stored;
  }
  if (variable.recVary == NOVARY) {
    return slab.recordCount > 1 && slab.recordInterval > 1 ? BAD_REC_INTERVAL : 0;
  }
  return slab.recordInterval == 1 && elements * slab.recordCount > largest ? BAD_REC_COUNT : 0;
}

// Allocating a block up to record 2147483647 crashes in a file that is compressed as a whole, and
// loses others.
CDFstatus checkAllocation(long last) {
  return last >= largest ? BAD_ALLOCATE_RECS : 0;
}

// The library counts the bytes of an entry, and 56 more, in 32 bits: 536870912 elements of CDF_INT4
// crash. It cuts the number of elements to its low 32 bits: it writes an entry of 4294967297
// elements as one of 1.
CDFstatus checkEntrySize(long datatype, std::size_t count) {
  constexpr long besideTheValue = 56;
  const auto most = static_cast<std::size_t>((largest - besideTheValue) / datatypeBytes(datatype));
  return count > most ? BAD_NUM_ELEMS : 0;
}

}  // namespace tarvik::cdf
