#include "tests/fuzz/bounds.h"

#include <set>

namespace {

using Names = std::set<std::string>;

/// Such a variable makes reads and writes overrun the caller's and the library's memory.
bool makesSparseAndCompressed(const Call& call, const VariableModel& variable) {
  const bool compresses =
      call.name() == "setVarCompression" && call.number("compression").value_or(0) != 0;
  const bool spreads =
      call.name() == "setVarSparseRecords" && call.number("sparseRecords").value_or(0) != 0;
  return (compresses && variable.sparse) || (spreads && variable.compressed);
}

/// In read-only mode, a read of a record that was never written frees an attribute twice that was
/// selected before.
bool hidesAttributes(const Call& call, const FileModel& file) {
  return call.name() == "setReadOnlyMode" && !file.attributes.empty();
}

/// The next write to the variable fails and loses the file. If the file is compressed as a whole,
/// it also takes minutes to close.
bool takesCompressionOff(const Call& call, const VariableModel& variable) {
  return call.name() == "setVarCompression" && variable.compressed &&
         call.number("compression") == 0;
}

}  // namespace

bool meetsKnownCrash(const Call& call, const Model& model) {
  const FileModel* file = model.opened(call.handle());
  const VariableModel* variable = model.variableOf(call);
  if (variable != nullptr && takesCompressionOff(call, *variable)) return true;
  // The extended plug-in has guards of its own against these.
  return EXTENDED == 0 && ((variable != nullptr && makesSparseAndCompressed(call, *variable)) ||
                           (file != nullptr && hidesAttributes(call, *file)));
}

bool isCareful(const Call& call, const Model& model) {
  // Deletes and changed storage can lose the file; so does a small stage cache with a compressed or
  // sparse variable. Read-only mode refuses writes.
  static const Names never = {"delete", "deleteVar", "deleteVarRecords", "setReadOnlyMode",
                              "setStageCacheSize"};
  static const Names ofNewFiles = {"setFormat", "setMajority", "setCompression"};
  static const Names ofNewVariables = {"setVarCompression",    "setVarSparseRecords",
                                       "setVarBlockingFactor", "setVarPadValue",
                                       "setVarInitialRecs",    "setVarAllocBlockRecords"};
  const std::string& name = call.name();
  // Of a file that is open twice, what the first handle wrote is lost.
  if (name == "open" || name == "create") return !model.isOpen(call.text("path"));
  // The close of a file with an unknown checksum fails.
  if (name == "setChecksum") return call.number("checksum") != 2;
  const FileModel* file = model.opened(call.handle());
  if (ofNewFiles.count(name) != 0 && file != nullptr) {
    return file->variables.empty() && file->attributes.empty();
  }
  const VariableModel* variable = model.variableOf(call);
  if (ofNewVariables.count(name) != 0 && variable != nullptr) return !variable->written;
  return never.count(name) == 0;
}
