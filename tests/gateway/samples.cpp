#include "tests/gateway/samples.h"

#include <algorithm>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;

namespace {

/// "text", "text ! tag", "text !" for one that gives no status; "?" in front where it is extended.
LibraryCall callFrom(std::string text) {
  const bool extended = text[0] == '?';
  text = text.substr(extended ? 2 : 0);
  const std::size_t mark = text.find(" !");
  if (mark == std::string::npos) return {text, "failure", extended};
  const std::string tag = text.substr(mark + 2);
  return {text.substr(0, mark), tag.empty() ? tag : tag.substr(1), extended};
}

std::vector<LibraryCall> callsFrom(const std::string& text) {
  std::vector<LibraryCall> calls;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find("; ", begin), text.size());
    calls.push_back(callFrom(text.substr(begin, end - begin)));
    begin = end + 2;
  }
  return calls;
}

}  // namespace

std::vector<Script> SamplesTest::sections() {
  return scriptsIn(SAMPLES);
}

std::vector<Row> SamplesTest::rowsOf(const Script& section) {
  std::vector<Row> rows;
  for (const std::string& line : linesOf(section)) {
    const std::size_t arrow = line.find(" ->"), blank = line.find(' ');
    rows.push_back({line.substr(0, blank), line.substr(blank, arrow - blank),
                    callsFrom(line.substr(std::min(arrow + 4, line.size())))});
  }
  return rows;
}

void SamplesTest::SetUp() {
  const std::vector<Script> all = sections();
  run(all.at(0));
  rows_ = rowsOf(all.at(1));
  made_ = contents();
  for (const char* name : {"f", "empty", "multi"}) keep(name, File{});
}

SamplesTest::Contents SamplesTest::contents() const {
  Contents all;
  for (const fs::directory_entry& entry : fs::directory_iterator(path(""))) {
    std::ifstream file(entry.path(), std::ios::binary);
    all[entry.path().filename().string()].assign(std::istreambuf_iterator<char>(file), {});
  }
  return all;
}

void SamplesTest::openFiles() {
  for (const auto& file : contents()) fs::remove(path(file.first));
  for (const auto& [name, bytes] : made_) std::ofstream(path(name), std::ios::binary) << bytes;
  keep("f", file_ = open("file"));
  keep("empty", empty_ = open("empty"));
  keep("multi", multi_ = open("multi"));
}

void SamplesTest::closeFiles() {
  // An operation may have ended one of them.
  for (const File file : {file_, empty_, multi_}) raised("close", file);
}

std::vector<Sample> SamplesTest::samples() const {
  std::vector<Sample> all;
  for (const Row& row : rows_) all.push_back({row.operation, inputsFrom(row.inputs)});
  return all;
}
