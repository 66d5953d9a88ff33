#include "cdf/handles.h"

#include <functional>
#include <set>

#include "cdf/call.h"

// What is said of the library here was seen with version 3.9.1, used directly.

namespace tarvik::cdf {

namespace {

std::set<CDFid, std::less<>> gone;

/// What a delete fails with that leaves the handle alive: the file cannot be opened for writing (it
/// is gone from the disk since it was opened), is in the read-only mode, was lost to an error
/// before or may not be written. After any other failure (-2088 where a new file is gone, -2089
/// where one of a variable is) the handle is freed memory, as it is after a close that fails for
/// whatever reason (-2055 for a checksum of no known kind).
bool leavesOpen(CDFstatus status) {
  constexpr CDFstatus CDF_OPEN_ERROR = -2012, READ_ONLY_MODE = -2070, NO_MORE_ACCESS = -2077,
                      NO_WRITE_ACCESS = -2086;
  return status == CDF_OPEN_ERROR || status == READ_ONLY_MODE || status == NO_MORE_ACCESS ||
         status == NO_WRITE_ACCESS;
}

}  // namespace

bool isGone(CDFid file) {
  return !gone.empty() && gone.count(file) != 0;
}

void arrived(CDFid file) {
  gone.erase(file);
}

CDFstatus endFile(CDFid file, long ending) {
  if (isGone(file)) {
    return BAD_CDF_ID;
  }
  const auto place = gone.insert(file).first;  // Ahead: afterwards there may be no memory for it.
  const CDFstatus status = call(SELECT_, CDF_, file, ending, CDF_);
  if (status >= 0 || (ending == DELETE_ && leavesOpen(status))) {
    gone.erase(place);
  }
  return status;
}

}  // namespace tarvik::cdf
