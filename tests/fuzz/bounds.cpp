#include "tests/fuzz/bounds.h"

#include <set>

namespace {

using Names = std::set<std::string>;

bool makesSparseAndCompressed(const Call& call, const VariableModel& variable) {
  const bool compresses =
      call.name() == "setVarCompression" && call.number("compression").value_or(0) != 0;
  const bool spreads =
      call.name() == "setVarSparseRecords" && call.number("sparseRecords").value_or(0) != 0;
  return (compresses && variable.sparse) || (spreads && variable.compressed);
}

}  // namespace

bool meetsKnownCrash(const Call& call, const Model& model) {
  const VariableModel* variable = model.variableOf(call);
  // Reads and writes of such a variable overrun the caller's and the library's memory.
  return variable != nullptr && makesSparseAndCompressed(call, *variable);
}

bool isCareful(const Call& call, const Model& model) {
  static const Names never = {"delete", "deleteVar", "deleteVarRecords", "setReadOnlyMode"};
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
  if (ofNewVariables.count(name) != 0 && variable != nullptr) return !variable->written;
  return never.count(name) == 0;
}
