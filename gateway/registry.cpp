#include "gateway/registry.h"

#include <array>
#include <cstdint>
#include <map>

#include "cdf/library.h"
#include "host/plugin.h"

namespace tarvik {

namespace {

struct ByValue {
  bool operator()(CDFid left, CDFid right) const {
    return reinterpret_cast<std::uintptr_t>(left) < reinterpret_cast<std::uintptr_t>(right);
  }
};

/// The library recognises a live handle by a mark in the memory that it points to. This has none.
std::array<long, 512> noFile{};

/// For each registered handle the one to give to the library: itself, or noFile if it is dangling.
std::map<CDFid, CDFid, ByValue> openFiles;

/// Ends a file whose identifier cannot be handed out.
class PendingFile {
 public:
  PendingFile(CDFid file, long undo) : file_(file), undo_(undo) {}
  PendingFile(const PendingFile&) = delete;
  PendingFile& operator=(const PendingFile&) = delete;
  ~PendingFile() {
    if (!handedOut_) {
      unregisterCDFId(file_);
      cdf::onFile(file_, undo_, CDF_);
    }
  }
  void setHandedOut() { handedOut_ = true; }

 private:
  CDFid file_;
  long undo_;
  bool handedOut_ = false;
};

}  // namespace

void registerCDFId(CDFid file) {
  openFiles[file] = file;
}

void unregisterCDFId(CDFid file) {
  openFiles.erase(file);
}

bool isRegisteredCDFId(CDFid file) {
  return openFiles.count(file) != 0;
}

void markDangling(CDFid file) {
  const auto entry = openFiles.find(file);
  if (entry != openFiles.end()) {
    entry->second = noFile.data();
  }
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
  const auto entry = openFiles.find(file);
  if (entry == openFiles.end()) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:unpackCDFId:invalidFileId",
                     "The CDF file ID argument is invalid.");
  }
  return entry->second;
}

vlArray* handOutFile(CDFid file, long undo) {
  PendingFile pending(file, undo);
  registerCDFId(file);
  vlArray* identifier = packCDFId(file);
  pending.setHandedOut();
  return identifier;
}

void closeRegisteredFiles() {
  if (!openFiles.empty()) {
    vlpWarnMsgIdAndTxt("VORLAN:tarvik:closingFileHandle", "Closing open CDF file handles.");
  }
  // The registry stays as it is and goes with the plug-in.
  for (const auto& [identifier, file] : openFiles) {
    cdf::onFile(file, CLOSE_, CDF_);
  }
}

}  // namespace tarvik
