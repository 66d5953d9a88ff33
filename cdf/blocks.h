/// The blocks of a file that hold records, and the free room between them: what has to be done
/// before a request for the library to find its way there afterwards.
#pragma once

#include "cdf/functions.h"

namespace tarvik::cdf {

/// Leaves free room behind all that is in the file. A file that may not be changed stays as it is,
/// which is for the request that follows to report.
void makeRoomBehind(CDFid file);

/// Whether the variable's records up to `last` can be allocated, all of them unless they are
/// sparse.
CDFstatus judgeRecordsUpTo(CDFid file, long variable, long last);

/// The last record to allocate where those up to `last` are asked for: a few more where it is not
/// safe to let a block grow by so few.
long lastToAllocate(CDFid file, long variable, long last);

/// Sets the number of records that are allocated together; a few more where it is not safe to let a
/// block grow by so few. 0 leaves the number to the library.
CDFstatus putBlockingFactor(CDFid file, long variable, long factor);
/// Sets it anew. Where the library refuses, it stays: sparse and compressed records are not
/// concerned.
void widenBlocks(CDFid file, long variable);
/// Takes note that records of the variable are about to be freed, and widens all variables' blocks
/// where it may matter.
void expectSmallRoom(CDFid file, long variable);

/// Makes it safe to move or free records of a variable: those staged are written, and so are those
/// allocated, which are allocated no longer then. A variable that is not there is for the request
/// that follows to report.
CDFstatus prepareToFree(CDFid file, long variable);

/// Makes it safe to write records from `start` to `last` of a variable whose records are sparse.
CDFstatus prepareToWrite(CDFid file, long variable, long start, long last);

/// Makes it safe to begin or end compressing the file as a whole.
CDFstatus prepareToCompress(CDFid file);

}  // namespace tarvik::cdf
