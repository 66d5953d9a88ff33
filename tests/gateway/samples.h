/// Valid inputs of every operation, files to use them on, and the calls of the library that each
/// must make, as samples.txt has them.
#pragma once

#include "tests/gateway/script.h"

struct Sample {
  std::string operation;
  Inputs inputs;
};

/// A call of the library, as a recording shows it.
struct LibraryCall {
  std::string text;
  std::string tag;  ///< What its failure is reported as; empty where the library gives no status.
  bool extended;    ///< The extended plug-in may make it, the exact one must not.
};

struct Row {
  std::string operation, inputs;
  std::vector<LibraryCall> calls;
};

/// Whether the operation gives the identifier of a further open file.
inline bool opensAFile(const Sample& sample) {
  return sample.operation == "open" || sample.operation == "create";
}

class SamplesTest : public ScriptTest {
 protected:
  void SetUp() override;

  /// Puts the files back as they were made and opens them.
  void openFiles();
  /// Closes what a call left open of them.
  void closeFiles();
  bool filesAreUnchanged() const { return contents() == made_; }

  /// One for every operation; they use the open files.
  std::vector<Sample> samples() const;

  static std::vector<Script> sections();
  std::vector<Row> rowsOf(const Script& section);

  std::vector<Row> rows_;  ///< Of the samples.

  File file_;   ///< With variables, attributes and data.
  File empty_;  ///< Whose settings can still be changed.
  File multi_;  ///< In several files.

 private:
  /// Of every file in the test's folder, by name.
  using Contents = std::map<std::string, std::string>;
  Contents contents() const;

  Contents made_;
};
