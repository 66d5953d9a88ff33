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

/// The next write to the variable fails and loses the file.
bool takesCompressionOff(const Call& call, const VariableModel& variable) {
  return call.name() == "setVarCompression" && variable.compressed &&
         call.number("compression") == 0;
}

}  // namespace

// The extended plug-in has guards of its own against both.
bool meetsKnownCrash(const Call& call, const Model& model) {
  const FileModel* file = model.opened(call.handle());
  const VariableModel* variable = model.variableOf(call);
  return EXTENDED == 0 && ((variable != nullptr && makesSparseAndCompressed(call, *variable)) ||
                           (file != nullptr && hidesAttributes(call, *file)));
}

bool isCareful(const Call& call, const Model& model) {
  static const Names never = {"delete", "deleteVar", "deleteVarRecords", "setReadOnlyMode",
                              "setStageCacheSize"};
  static const Names ofNewFiles = {"setFormat", "setMajority", "setCompression"};
  static const Names ofNewVariables = {"setVarCompression",    "setVarSparseRecords",
                                       "setVarBlockingFactor", "setVarPadValue",
                                       "setVarInitialRecs",    "setVarAllocBlockRecords"};
  const std::string& name = call.name();
  if (name == "open" || name == "create") return !model.isOpen(call.text("path"));
  if (name == "setChecksum") return call.number("checksum") != 2;
  const FileModel* file = model.opened(call.handle());
  if (ofNewFiles.count(name) != 0 && file != nullptr) {
    return file->variables.empty() && file->attributes.empty();
  }
  const VariableModel* variable = model.variableOf(call);
  if (ofNewVariables.count(name) != 0 && variable != nullptr) {
    return !variable->written && !takesCompressionOff(call, *variable);
  }
  return never.count(name) == 0;
}
