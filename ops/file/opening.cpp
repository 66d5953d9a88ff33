// The life of a file identifier: open and create begin it, close and delete end it.
#include <string>

#include "cdf/call.h"
#include "cdf/handles.h"
#include "cdf/requests.h"
#include "convert/text.h"
#include "gateway/handlers.h"
#include "gateway/registry.h"
#include "gateway/status.h"

namespace tarvik::ops {

namespace {

/// `ending` is CLOSE_ or DELETE_. A file that the library could not end stays registered.
void endFile(const vlArray* inputs[], const OperationEntry* entry, long ending) {
  const CDFid file = unpackCDFId(inputs[0]);
  check(entry, cdf::endFile(file, ending));
  unregisterCDFId(file);
}

}  // namespace

void open(int, vlArray* outputs[], int, const vlArray* inputs[], const OperationEntry* entry) {
  const std::string name = unpackString(inputs[0]);
  CDFid file = nullptr;
  check(entry, cdf::openFile(name, &file));

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
  check(entry, cdf::createFile(name, &file));
  outputs[0] = handOutFile(file, DELETE_);
}

void close(int, vlArray*[], int, const vlArray* inputs[], const OperationEntry* entry) {
  endFile(inputs, entry, CLOSE_);
}

void delete_(int, vlArray*[], int, const vlArray* inputs[], const OperationEntry* entry) {
  endFile(inputs, entry, DELETE_);
}

}  // namespace tarvik::ops
