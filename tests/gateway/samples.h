/// Valid inputs of every operation, and files to use them on, as samples.txt has them.
#pragma once

#include <map>

#include "tests/gateway/script.h"

struct Sample {
  std::string operation;
  Inputs inputs;
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

  File file_;   ///< With variables, attributes and data.
  File empty_;  ///< Whose settings can still be changed.
  File multi_;  ///< In several files.

 private:
  /// Of every file in the test's folder, by name.
  using Contents = std::map<std::string, std::string>;
  Contents contents() const;

  Contents made_;
  std::vector<Line> rows_;
};
