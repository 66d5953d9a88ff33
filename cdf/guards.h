/// The judgements behind cdf/requests.h. Each gives 0 for a request that the library may see, or
/// the library's status for one that it may not.
#pragma once

#include <cstddef>
#include <string>

#include "cdf/functions.h"
#include "cdf/lists.h"

namespace tarvik::cdf {

struct VariableNotes;
struct VariableShape;

inline constexpr CDFstatus BAD_MALLOC = -2026;

/// Makes the request unless it was judged unfit for the library.
template <typename Request>
CDFstatus unlessRefused(CDFstatus judgement, Request request) {
  return judgement < 0 ? judgement : request();
}

CDFstatus judgePathToOpen(const std::string& path);
/// The file that the library opens for a path.
std::string fileToOpen(const std::string& path);
/// Whether a path may be opened for which the library opens the file `opened`.
CDFstatus judgeFileToOpen(const std::string& path, const std::string& opened);
CDFstatus judgePathToCreate(const std::string& path);
CDFstatus judgeVariableName(const std::string& name);
CDFstatus judgeAttributeName(const std::string& name);
/// `missing` is the status for a name that is not there.
CDFstatus judgeNameToFind(const std::string& name, CDFstatus missing);
/// One value, and one record, of a new variable.
CDFstatus judgeShape(const VariableShape& shape);
CDFstatus judgeRecord(long record);
CDFstatus judgeRecords(long start, long count, long interval);
/// A block of records up to `last`, of a variable with this kind of sparse records.
CDFstatus judgeAllocation(long last, long sparseRecords);
inline constexpr long lastOfAllRecords = 2147483646;
/// Blocks that begin before this record end within all records, as judgeBlockingFactor() bounds
/// them.
inline constexpr long farRecord = 1L << 30;
/// The records that are allocated together.
CDFstatus judgeBlockingFactor(long factor);
/// The sparse records that are allocated together, from the last that is written on.
CDFstatus judgeSparseBlock(long last, long factor);
/// Whether room of so few bytes may stay of a record that it does harm: see leastGrowth().
bool leavesSmallRoom(long recordBytes);
/// The fewest records that may be allocated at once in a file with such room.
long leastGrowth(long recordBytes);
/// A blocking factor for a variable whose records, if it had any, were deleted.
CDFstatus judgeFactorAfterDeletes(long compression, long factor);
/// Whether all of these records lie behind the last that was written.
bool deletesNothing(long first, long last, long written);
/// Writes beyond fewer records than these need no look at how the file grows.
inline constexpr long fewRecords = 65536;
/// So many more records, of that many bytes each, of a file that is compressed as a whole.
CDFstatus judgeGrowth(long records, long recordBytes);
/// Whether so many records, which were allocated and not written, are to be written before records
/// of their variable are moved or freed.
bool mustBeWritten(long records, long recordBytes);
/// Whether records may wait in the scratch file, where `staged` says that the variable has some
/// there.
bool mayBeStaged(bool staged, long written);
/// Whether an attribute fits where an entry of that many bytes was.
bool leavesRoom(long entryBytes);
/// Whether a change of a file's compression reads all of the file.
bool needsWrittenEnd(long compressionBefore, long compression);
CDFstatus judgeCompression(long before, long compression, const VariableNotes& notes);
/// The interval to use in reading a variable whose records are all the same one.
long intervalOfOneRecord(long interval);
CDFstatus judgeDimensions(const Longs& indices, const Longs& counts, const Longs& intervals);
/// The elements of an attribute entry.
CDFstatus judgeEntrySize(std::size_t count);

}  // namespace tarvik::cdf
