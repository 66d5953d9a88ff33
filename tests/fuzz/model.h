/// What the calls of a sequence should have made of the files.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/fuzz/catalogue.h"
#include "tests/gateway/gateway_test.h"

/// One call with its inputs, some of which may be nonsense.
struct Call {
  const Operation* operation;
  std::vector<Array> inputs;

  /// The input of that name; null where the operation has none or it was left out.
  const vlArray* input(const std::string& name) const;
  /// An input that the gateway takes as a whole number.
  std::optional<long> number(const std::string& name) const;
  std::vector<long> list(const std::string& name) const;
  std::string text(const std::string& name) const;
  /// The value of the file identifier, 0 where there is none.
  std::uint64_t handle() const;
};

/// The call as a line for people.
std::string shown(const Call& call);

struct VariableModel {
  long datatype;
  long numElements;
  std::vector<long> dimSizes;           ///< In the user's order.
  bool varies;                          ///< In its records and all dimensions.
  std::map<long, std::string> records;  ///< As they were written and must read again.
};

struct AttributeModel {
  bool global;
  std::set<long> entries;  ///< Global ones, or those of variables.
};

struct FileModel {
  std::string path;
  /// Why the model does not know what is in the file; empty where it does.
  std::string lost;
  double most = 1;        ///< The largest number of records or elements that was asked for.
  bool strained = false;  ///< More of it was asked for than the limits of a run allow.
  std::vector<VariableModel> variables;
  std::vector<AttributeModel> attributes;
};

struct Handle {
  std::uint64_t value;
  FileModel* file;
};

class Model {
 public:
  /// Takes note of what a call has done that gave `outputs`.
  void succeeded(const Call& call, const std::vector<Array>& outputs);
  /// Takes note of a call that the library refused with `status`. Raises std::logic_error where it
  /// had no reason to.
  void refused(const Call& call, long status);

  /// Whether more is asked for, by the call or before it, than the limits of a run allow.
  bool strains(const Call& call);

  /// The file of an identifier that calls may succeed with, or null.
  FileModel* opened(std::uint64_t handle);
  bool isOpen(const FileModel& file) const;
  const std::vector<Handle>& handles() const { return handles_; }
  /// Identifiers that were closed or deleted, or are dead since that failed.
  const std::vector<std::uint64_t>& stale() const { return stale_; }
  std::map<std::string, FileModel>& files() { return files_; }

 private:
  std::vector<Handle>::iterator find(std::uint64_t handle);
  void begin(const std::string& path, std::uint64_t handle);
  void end(std::uint64_t handle);

  std::map<std::string, FileModel> files_;  ///< All that exist, by their paths.
  std::vector<Handle> handles_;             ///< In the order of opening, which no address decides.
  std::vector<std::uint64_t> stale_;
};
