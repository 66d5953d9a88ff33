/// The CDF library as a C program calls it.
#pragma once

#include <string>
#include <vector>

#include "cdf/functions.h"
#include "cdf/library.h"

namespace bench {

/// Ends the program with the library's words where a direct call failed.
void must(CDFstatus status);

/// What a variable is made of. One CDF_CHAR value of `numElements` characters, or one number.
struct Variable {
  long datatype;
  long numElements;
  std::vector<long> dimSizes;
};

/// Makes a variable with the library; gives its number.
long createVariable(CDFid file, const std::string& name, const Variable& variable);
long createAttribute(CDFid file, const std::string& name, long scope);

/// Reads or writes one value of a variable of doubles: `function` is GET_ or PUT_, and `place` has
/// an index for each dimension.
void transferValue(CDFid file, long variable, long record, const long* place, long function,
                   double* value);

/// The inquiries that the gateway makes before a transfer of values.
void inquireVariable(CDFid file, long variable);
void inquireMajority(CDFid file);

}  // namespace bench
