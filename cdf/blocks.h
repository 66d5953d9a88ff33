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

/// The fewest records that may be allocated at once for the variable, unless they are sparse: as
/// leastGrowth() has it where records may have been deleted.
long recordsToGrowBy(CDFid file, long variable);

/// Makes it safe to move or free records of a variable: those staged are written, and so are those
/// allocated, which are allocated no longer then. A variable that is not there is for the request
/// that follows to report.
CDFstatus prepareToFree(CDFid file, long variable);

/// Makes it safe to write records that follow each other, from `start` on, of a variable whose
/// records are sparse.
CDFstatus prepareToWrite(CDFid file, long variable, long start);

/// Makes it safe to begin or end compressing the file as a whole.
CDFstatus prepareToCompress(CDFid file);

}  // namespace tarvik::cdf
