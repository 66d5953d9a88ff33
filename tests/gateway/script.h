/// Tests as scripts: what is called with what, and what must come of it, a line each. The files of
/// scripts/ hold them; scripts_test.cpp runs each section as a test.
///
///     == Title                               a test, with a gateway and a folder of its own
///     ($dir);
///                                            what stands before the first begins every test
///     f = create "$dir/a"                    keeps the first output; files so kept are closed
///     inquireVar f 0 -> "x"; 4; int32 1x2: 1 2   the outputs: texts, numbers, what was kept, or as
///                                            `shown` has it; "shape int32 1x2" with any elements,
///                                            <9 is between 0 and 9, _ any, and nothing no output
///     getVarName f 9 ! NO_SUCH_VAR           fails with "failure" and that status
///     getVarPadValue f 9 ! variableInquiryFailure NO_SUCH_VAR    with that tag
///     close 1 ! unpackCDFId:id: It said so.  with that identifier, behind "VORLAN:tarvik:", and
///                                            message; of the operation's own where a colon is
///                                            first
///     for x y in 1 "a" | 2 (b c) ... end     the lines between with $x and $y of each row
///     let x = text                           $x is the text from here on
///
/// Inputs: numbers are double scalars, [1 2] a double row, int8[1 2] a row of that class, int8 one
/// zero of it, "text" characters, where \u1234 is one of 16 bits and \0 a NUL. Behind any of these
/// :2x3 gives dimensions, which the elements fill over and over, and *9 repeats the elements.
/// A line that is indented by more than its block continues the one before; # begins a comment.
#pragma once

#include <map>

#include "tests/gateway/gateway_test.h"

struct Line {
  int number;
  std::string text;
};

struct Script {
  std::string file, title;
  std::vector<Line> lines;
};
inline std::ostream& operator<<(std::ostream& out, const Script& script) {
  return out << script.file << ".txt";
}

/// The sections of a file.
std::vector<Script> scriptsIn(const std::filesystem::path& file);

/// The words of a text; blanks in quotes, brackets and parentheses part none.
std::vector<std::string> wordsOf(const std::string& text);

class ScriptTest : public GatewayTest {
 protected:
  void TearDown() override {
    kept_.clear();
    GatewayTest::TearDown();
  }

  /// Runs a script and closes the files that it kept.
  void run(const Script& script);
  /// Leaves them open, kept under their names.
  void perform(const Script& script);
  void closeKept();
  /// The lines that a script comes to, with loops and names worked out.
  std::vector<std::string> linesOf(const Script& script);
  void keep(const std::string& name, Input value) {
    kept_.insert_or_assign(name, std::move(value));
  }
  /// The words of a text as inputs.
  Inputs inputsFrom(const std::string& text) const;
  const std::map<std::string, Input>& kept() const { return kept_; }

 private:
  using Names = std::map<std::string, std::string>;
  using Place = std::vector<Line>::const_iterator;

  void run(Place first, Place last, Names names);
  void loop(const std::string& header, Place first, Place last, const Names& names);
  void state(const std::string& line);
  void expectOutputs(const std::vector<Array>& outputs, const std::string& text);
  void expectRaised(const std::string& operation, const Inputs& inputs, const std::string& text);
  Input input(const std::string& word) const;
  Inputs inputsOf(const std::vector<std::string>& words) const;

  std::vector<std::string>* lines_ = nullptr;  ///< Where lines go that are not to be performed.
  std::map<std::string, Input> kept_;
};
