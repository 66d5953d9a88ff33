/// Variables of which records were deleted since their file was opened. Where none is left the
/// library takes them for new, but keeps in memory how the records were stored.
#pragma once

#include "cdf/functions.h"

namespace tarvik::cdf {

/// The library handed the handle out: nothing was deleted yet.
void noneDeleted(CDFid file);

/// Records of the variable are about to be deleted.
void recordsDeleted(CDFid file, long variable);

/// The variable was deleted: those behind it moved down.
void variableDeleted(CDFid file, long variable);

bool hadRecordsDeleted(CDFid file, long variable);

}  // namespace tarvik::cdf
