/// A look at a file's own descriptions before the library parses them. The library believes some of
/// their fields blindly, so that a damaged or forged file could crash it, hold it up without end or
/// make it take all memory. Nothing of what is seen here is used otherwise.
#pragma once

#include <string>

#include "cdf/functions.h"

namespace tarvik::cdf {

/// 0 if the library may open the path, otherwise its status for corrupted files. Missing,
/// unreadable and non-CDF files pass; the library reports those itself.
CDFstatus screenFile(const std::string& path);

}  // namespace tarvik::cdf
