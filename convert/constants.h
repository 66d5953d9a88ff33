/// The named constants of the CDF library that users pass as inputs.
#pragma once

#include <map>
#include <string>

namespace tarvik {

/// All constants by name, in ascending byte order of the names; the keys are upper case.
const std::map<std::string, double>& namedConstants();

}  // namespace tarvik
