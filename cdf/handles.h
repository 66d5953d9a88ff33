/// Handles that the library let go of while it failed to end their file. It tells them from live
/// ones by a look into memory that it has freed; here they are known, and answered as it does.
#pragma once

#include "cdf/functions.h"

namespace tarvik::cdf {

inline constexpr CDFstatus BAD_CDF_ID = -2002;

/// Whether the library has let go of the handle and not handed its value out anew.
bool isGone(CDFid file);

/// The library handed this value out.
void arrived(CDFid file);

/// Closes the file or deletes it, as `ending` says: CLOSE_ or DELETE_.
CDFstatus endFile(CDFid file, long ending);

}  // namespace tarvik::cdf
