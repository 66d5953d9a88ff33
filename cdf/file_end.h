/// What is last in a file: the library is to free nothing there that it cannot pass by afterwards.
#pragma once

#include "cdf/functions.h"

namespace tarvik::cdf {

/// The bytes of a record of the variable as they are stored; 0 where they cannot be told.
long recordBytes(CDFid file, long variable);

/// Leaves free room behind all that is in the file. A file that may not be changed stays as it is,
/// which is for the request that follows to report.
void makeRoomBehind(CDFid file);

/// Makes it safe to move or free records of a variable: those staged are written, and so are those
/// allocated, which are allocated no longer then. A variable that is not there is for the request
/// that follows to report.
CDFstatus prepareToFree(CDFid file, long variable);

/// Makes it safe to begin compressing the file as a whole.
CDFstatus prepareToCompress(CDFid file);

}  // namespace tarvik::cdf
