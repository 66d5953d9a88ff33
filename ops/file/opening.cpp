// The life of a file identifier: open and create begin it, close and delete end it.
#include <string>

#include "cdf/guards.h"
#include "cdf/library.h"
#include "cdf/screen/screen.h"
#include "convert/text.h"
#include "gateway/handlers.h"
#include "gateway/registry.h"
#include "gateway/status.h"

namespace tarvik::ops {

namespace {

/// Whether a delete that fails leaves the handle alive: the file cannot be opened for writing (it
/// is gone from the disk), is in read-only mode, was lost to an earlier error or may not be
/// written. Version 3.9.1 frees the handle before any other failure of a delete, and in every
/// failing close.
bool leavesOpen(CDFstatus status) {
  constexpr CDFstatus CDF_OPEN_ERROR = -2012, READ_ONLY_MODE = -2070, NO_MORE_ACCESS = -2077,
                      NO_WRITE_ACCESS = -2086;
  return status == CDF_OPEN_ERROR || status == READ_ONLY_MODE || status == NO_MORE_ACCESS ||
         status == NO_WRITE_ACCESS;
}

/// `ending` is CLOSE_ or DELETE_. A file that the library could not end stays registered.
void endFile(const vlArray* inputs[], const OperationEntry* entry, long ending) {
  const CDFid file = unpackCDFId(inputs[0]);
  const CDFstatus status = cdf::onFile(file, ending, CDF_);
  if (status < 0 && !(ending == DELETE_ && leavesOpen(status))) {
    markDangling(file);
  }
  check(entry, status);
  unregisterCDFId(file);
}

}  // namespace

void open(int, vlArray* outputs[], int, const vlArray* inputs[], const OperationEntry* entry) {
  const std::string name = unpackString(inputs[0]);
  CDFid file = nullptr;
  check(entry, cdf::checkPathToOpen(name));
  check(entry, cdf::checkMemoryToOpen());
  check(entry, cdf::screenFile(cdf::fileToOpen(name)));
  check(entry, cdf::call(OPEN_, CDF_, name.c_str(), &file));

  // In this mode a file's r-variables are seen as z-variables.
  const CDFstatus status = cdf::onFile(file, CDF_zMODE_, zMODEon2);
  if (status < 0) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:open:unableToSetzMode2",
                     "Unable to set zMode to zMODEon2, \"%s\".", statusText(status).data());
  }
  outputs[0] = handOutFile(file, CLOSE_);
}

void create(int, vlArray* outputs[], int, const vlArray* inputs[], const OperationEntry* entry) {
  const std::string name = unpackString(inputs[0]);
  CDFid file = nullptr;
  check(entry, cdf::checkPathToCreate(name));
  check(entry, CDFcreateCDF(name.c_str(), &file));
  outputs[0] = handOutFile(file, DELETE_);
}

void close(int, vlArray*[], int, const vlArray* inputs[], const OperationEntry* entry) {
  endFile(inputs, entry, CLOSE_);
}

void delete_(int, vlArray*[], int, const vlArray* inputs[], const OperationEntry* entry) {
  endFile(inputs, entry, DELETE_);
}

}  // namespace tarvik::ops
