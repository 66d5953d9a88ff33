#include "tests/gateway/samples.h"

#include <fstream>
#include <iterator>
#include <sstream>

namespace fs = std::filesystem;

namespace {

// Numbers of what is in the file.
constexpr double numbersVar = 0;  // CDF_INT4, three values a record, four records.
constexpr double textVar = 1;     // CDF_CHAR, one text of four characters.
constexpr double packedVar = 2;   // Compressed, without records.
constexpr double bareVar = 3;     // Without records.
constexpr double globalAttr = 0;
constexpr double variableAttr = 1;

Input int32s(std::size_t count) {
  return row(std::vector<std::int32_t>(count, 7));
}

}  // namespace

void SamplesTest::SetUp() {
  const File file = create("file");
  createVar(file, "numbers", 4, 1, {3});
  createVar(file, "text", 51, 4);
  createVar(file, "packed", 4);
  createVar(file, "bare", 4);
  call("setVarCompression", file, packedVar, 5.0, 6.0);
  call("hyperPutVarData", file, numbersVar, 0.0, 4.0, 1.0, List{0}, List{3}, List{1}, int32s(12));
  call("putVarData", file, textVar, 0.0, List{}, "text");
  call("createAttr", file, "global", 1.0);
  call("createAttr", file, "perVariable", 2.0);
  call("putAttrgEntry", file, globalAttr, 0.0, 4.0, int32s(3));
  call("putAttrEntry", file, variableAttr, numbersVar, 51.0, "entry");
  close(file);
  close(create("empty"));
  const File multi = create("multi");
  call("setFormat", multi, 2.0);
  createVar(multi, "numbers", 4);
  call("putVarData", multi, numbersVar, 0.0, List{}, int32s(1));
  close(multi);
  made_ = contents();
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
  for (const auto& file : contents()) {
    fs::remove(path(file.first));
  }
  for (const auto& [name, bytes] : made_) {
    std::ofstream(path(name), std::ios::binary) << bytes;
  }
  file_ = open("file");
  empty_ = open("empty");
  multi_ = open("multi");
}

void SamplesTest::closeFiles() {
  for (const File file : {file_, empty_, multi_}) {
    raised("close", file);  // An operation may have ended it.
  }
}

std::vector<Sample> SamplesTest::samples() const {
  const File f = file_;
  const List none, zero = {0}, one = {1}, three = {3};
  const std::pair<std::string, Inputs> rows[] = {
      {"getConstantNames getLibraryCopyright getLibraryVersion getValidate", {}},
      {"close delete getCacheSize getChecksum getCompression getCompressionCacheSize getCopyright "
       "getFormat getMajority getName getNumgAttributes getNumvAttributes getReadOnlyMode "
       "getStageCacheSize getVersion inquire",
       {f}},
      {"closeVar deleteVar getVarAllocRecords getVarBlockingFactor getVarMaxAllocRecNum "
       "getVarMaxWrittenRecNum getVarName getVarNumRecsWritten getVarSparseRecords inquireVar",
       {f, numbersVar}},
      {"getVarPadValue", {f, textVar}},
      {"getVarCompression getVarReservePercent", {f, packedVar}},
      {"getVarCacheSize", {multi_, numbersVar}},
      {"getVarNum", {f, "numbers"}},
      {"getAttrNum", {f, "global"}},
      {"deleteAttr getAttrMaxgEntry getAttrName getAttrScope getNumAttrgEntries inquireAttr",
       {f, globalAttr}},
      {"getAttrMaxEntry getNumAttrEntries", {f, variableAttr}},
      {"deleteAttrgEntry getAttrgEntry inquireAttrgEntry", {f, globalAttr, 0.0}},
      {"deleteAttrEntry getAttrEntry inquireAttrEntry", {f, variableAttr, numbersVar}},
      {"setCacheSize setCompressionCacheSize setStageCacheSize", {f, 10.0}},
      {"setChecksum", {f, 1.0}},
      {"setCompression", {f, 5.0, 6.0}},
      {"setFormat setMajority", {empty_, 2.0}},
      {"setReadOnlyMode", {f, -1.0}},
      {"setValidate", {-1.0}},
      {"setVarsCacheSize", {multi_, 5.0}},
      {"setVarCacheSize", {multi_, numbersVar, 5.0}},
      {"setVarBlockingFactor setVarInitialRecs", {f, bareVar, 5.0}},
      {"setVarSparseRecords", {f, bareVar, 1.0}},
      {"setVarReservePercent", {f, packedVar, 10.0}},
      {"setVarCompression", {f, bareVar, 5.0, 6.0}},
      {"setVarAllocBlockRecords", {f, bareVar, 0.0, 9.0}},
      {"setVarPadValue", {f, textVar, "pads"}},
      {"deleteVarRecords", {f, numbersVar, 1.0, 2.0}},
      {"getVarData", {f, textVar, 0.0, none}},
      {"getVarRecordData", {f, numbersVar, 0.0}},
      {"hyperGetVarData", {f, numbersVar, 0.0, 2.0, 2.0, zero, three, one}},
      {"putVarData", {f, textVar, 1.0, none, "word"}},
      {"putVarRecordData", {f, numbersVar, 4.0, int32s(3)}},
      {"hyperPutVarData", {f, numbersVar, 1.0, 2.0, 2.0, zero, three, one, int32s(6)}},
      {"create", {path("new")}},
      {"open", {path("file")}},
      {"createAttr", {f, "new", 1.0}},
      {"createVar", {f, "new", 4.0, 1.0, three, -1.0, List{-1}}},
      {"renameAttr renameVar", {f, 0.0, "renamed"}},
      {"putAttrEntry", {f, variableAttr, numbersVar, 51.0, "other"}},
      {"putAttrgEntry", {f, globalAttr, 1.0, 4.0, int32s(3)}},
      {"computeEpoch", {List{2000, 1, 1, 0, 0, 0, 0}}},
      {"computeEpoch16", {List{2000, 1, 1, 0, 0, 0, 0, 0, 0, 0}}},
      {"epochBreakdown", {6e13}},
      {"epoch16Breakdown", {List{6e10, 5}}},
      {"getConstantValue", {"CDF_INT4"}},
  };
  std::vector<Sample> all;
  for (const auto& [names, inputs] : rows) {
    std::istringstream list(names);
    for (std::string name; list >> name;) all.push_back({name, inputs});
  }
  return all;
}
