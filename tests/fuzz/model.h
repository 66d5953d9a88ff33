/// What the calls of a sequence should have made of the files.
#pragma once

#include <map>
#include <memory>

#include "tests/fuzz/call.h"

struct VariableModel {
  std::string name;
  long datatype = 0;
  long numElements = 1;
  std::vector<long> dimSizes;  ///< In the user's order.
  bool varies = false;         ///< In its records and all dimensions.
  bool compressed = false;
  bool sparse = false;
  bool written = false;                 ///< Whether it may have or had records.
  std::map<long, std::string> records;  ///< As bytes, where they are known.
};

struct AttributeModel {
  std::string name;
  bool global;
  std::map<long, std::string> entries;  ///< Global ones, or those of variables; as bytes.
};

struct FileModel {
  std::string path;
  std::vector<VariableModel> variables;
  std::vector<AttributeModel> attributes;
};

struct Handle {
  std::uint64_t value;
  std::shared_ptr<FileModel> file;
};

/// The bytes of an array's elements.
std::string bytesOf(const Array& array);

/// The records that a write writes, wholly or in part; none for other calls.
std::vector<long> recordsWritten(const Call& call);

class Model {
 public:
  /// A careful model knows what every call must give. Any other helps to choose inputs.
  explicit Model(bool careful) : careful_(careful) {}

  /// Records what a call has done that gave `outputs`. Raises std::logic_error if they are wrong.
  void succeeded(const Call& call, const std::vector<Array>& outputs);
  /// Records a call that failed with the library's `status`, 0 for the gateway's own errors. Raises
  /// std::logic_error if the call must not fail so.
  void failed(const Call& call, long status);

  bool careful() const { return careful_; }
  /// The file of an identifier that calls may succeed with, or null.
  FileModel* opened(std::uint64_t handle) const;
  bool isOpen(const std::string& path) const;
  /// The variable or attribute that a call is about, or null.
  VariableModel* variableOf(const Call& call) const;
  AttributeModel* attributeOf(const Call& call) const;
  const std::vector<Handle>& handles() const { return handles_; }
  /// Identifiers that were closed or deleted, or are dead since that failed.
  const std::vector<std::uint64_t>& stale() const { return stale_; }
  /// All that exist, by their paths.
  const std::map<std::string, std::shared_ptr<FileModel>>& files() const { return files_; }

 private:
  void begin(const std::string& path, bool isNew, std::uint64_t handle);
  void end(std::uint64_t handle);
  std::optional<std::string> expected(const Call& call) const;
  void apply(const Call& call, FileModel& file);
  void applyToVariable(const Call& call, VariableModel& variable);
  void applyToAttribute(const Call& call, AttributeModel& attribute);

  bool careful_;
  std::map<std::string, std::shared_ptr<FileModel>> files_;
  std::vector<Handle> handles_;  ///< In the order of opening, which no address decides.
  std::vector<std::uint64_t> stale_;
};
