#include "gateway/registry.h"

#include <cstdint>
#include <set>

#include "cdf/call.h"
#include "host/plugin.h"

namespace tarvik {

namespace {

struct ByValue {
  bool operator()(CDFid left, CDFid right) const {
    return reinterpret_cast<std::uintptr_t>(left) < reinterpret_cast<std::uintptr_t>(right);
  }
};

std::set<CDFid, ByValue> openFiles;

/// Takes a file back when its identifier cannot be handed out.
class FileOnItsWay {
 public:
  FileOnItsWay(CDFid file, long undo) : file_(file), undo_(undo) {}
  FileOnItsWay(const FileOnItsWay&) = delete;
  FileOnItsWay& operator=(const FileOnItsWay&) = delete;
  ~FileOnItsWay() {
    if (!arrived_) {
      unregisterCDFId(file_);
      cdf::onFile(file_, undo_, CDF_);
    }
  }
  void arrive() { arrived_ = true; }

 private:
  CDFid file_;
  long undo_;
  bool arrived_ = false;
};

}  // namespace

void registerCDFId(CDFid file) {
  openFiles.insert(file);
}

void unregisterCDFId(CDFid file) {
  openFiles.erase(file);
}

bool isRegisteredCDFId(CDFid file) {
  return openFiles.count(file) != 0;
}

vlArray* packCDFId(CDFid file) {
  const std::size_t dims[] = {1, 1};
  vlArray* identifier = vlCreateNumericArray(2, dims, vlUINT64_CLASS, vlREAL);
  *static_cast<std::uint64_t*>(vlGetData(identifier)) = reinterpret_cast<std::uintptr_t>(file);
  return identifier;
}

CDFid unpackCDFId(const vlArray* argument) {
  if (vlGetClassID(argument) != vlUINT64_CLASS) {
    vlpErrMsgIdAndTxt("VORLAN:tarvik:unpackCDFId:idNotUint64Scalar",
                      "The CDF ID argument must be a scalar uint64 value.");
  }
  if (vlGetNumberOfElements(argument) != 1) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:unpackCDFId:wrongNumberOfElements",
                     "The CDF file ID argument can only have one element.");
  }
  const auto value = *static_cast<const std::uint64_t*>(vlGetData(argument));
  const auto file = reinterpret_cast<CDFid>(static_cast<std::uintptr_t>(value));
  if (!isRegisteredCDFId(file)) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:unpackCDFId:invalidFileId",
                     "The CDF file ID argument is invalid.");
  }
  return file;
}

vlArray* handOutFile(CDFid file, long undo) {
  FileOnItsWay guard(file, undo);
  registerCDFId(file);
  vlArray* identifier = packCDFId(file);
  guard.arrive();
  return identifier;
}

void closeRegisteredFiles() {
  if (!openFiles.empty()) {
    vlpWarnMsgIdAndTxt("VORLAN:tarvik:closingFileHandle", "Closing open CDF file handles.");
  }
  // The set itself stays as it is and goes with the plug-in.
  for (const CDFid file : openFiles) {
    cdf::onFile(file, CLOSE_, CDF_);
  }
}

}  // namespace tarvik
