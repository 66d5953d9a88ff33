/// A look at a file's own descriptions before the library parses them. The library believes some of
/// their fields blindly, so that a damaged or forged file could crash it, hold it up without end or
/// make it take all memory. Nothing of what is seen here is used otherwise.
#pragma once

#include <string>

#include "cdf/functions.h"

namespace tarvik::cdf {

/// 0 where the library may open the path, or the status that it has for corrupted files. A file
/// that is missing, unreadable or no CDF file is the library's to refuse.
CDFstatus screenFile(const std::string& path);

}  // namespace tarvik::cdf
