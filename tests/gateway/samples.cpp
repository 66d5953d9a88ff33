#include "tests/gateway/samples.h"

#include <fstream>
#include <iterator>

namespace fs = std::filesystem;

void SamplesTest::SetUp() {
  const std::vector<Script> sections = scriptsIn(SAMPLES);
  run(sections.at(0));
  rows_ = sections.at(1).lines;
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
  for (const Line& row : rows_) {
    const std::size_t colon = row.text.find(" :");
    const Inputs inputs = inputsFrom(row.text.substr(colon + 2));
    for (const std::string& name : wordsOf(row.text.substr(0, colon)))
      all.push_back({name, inputs});
  }
  return all;
}
