// Requests that would crash the library, lose the file or touch another one: each is answered with
// the library's own status, nothing is made or changed, and the file is alive afterwards.
#include <fstream>
#include <limits>

#include "tests/gateway/samples.h"
#include "tests/gateway/statuses.h"

namespace fs = std::filesystem;

namespace {

using GuardsTest = SamplesTest;

constexpr double most = std::numeric_limits<std::int32_t>::max();

TEST_F(GuardsTest, AnswerInTheLibrarysStead) {
  openFiles();
  const File f = file_;
  const double text = 1;
  const double bare = 3;
  const std::string longName(257, 'n');
  const List none, zero = {0}, one = {1};
  const Input three = row<std::int32_t>({1, 2, 3});
  const auto variable = [&](double type, double numElements, const List& extents) -> Inputs {
    return {f, "new", type, numElements, extents, -1.0, List(extents.size(), -1)};
  };
  // Borrowed: nobody reads the elements of an array that is refused for their number.
  const auto bytes = [](std::size_t count) {
    return Input(vlhost::borrow({1, count}, vlINT8_CLASS, &most));
  };
  const struct {
    const char* operation;
    Inputs inputs;
    long status;
  } rows[] = {
      {"createVar", {f, longName, 4.0, 1.0, none, -1.0, none}, VAR_NAME_TRUNC},
      {"renameVar", {f, bare, longName}, VAR_NAME_TRUNC},
      {"createAttr", {f, longName, 1.0}, ATTR_NAME_TRUNC},
      {"renameAttr", {f, 0.0, longName}, ATTR_NAME_TRUNC},
      {"createVar", variable(51, most, {}), BAD_NUM_ELEMS},
      {"createVar", variable(4, most, {}), BAD_NUM_ELEMS},
      {"createVar", variable(4, 1, {65536, 65536}), BAD_DIM_SIZE},
      {"createVar", variable(45, 1, {16384, 16384}), BAD_DIM_SIZE},
      {"createVar", variable(32, 1, {134217728}), BAD_DIM_SIZE},
      {"getVarData", {f, text, -1.0, none}, BAD_REC_NUM},
      {"getVarData", {f, text, most, none}, BAD_REC_NUM},
      {"putVarData", {f, text, -1.0, none, "word"}, BAD_REC_NUM},
      {"putVarData", {f, text, most, none, "word"}, BAD_REC_NUM},
      {"getVarRecordData", {f, 0.0, -1.0}, BAD_REC_NUM},
      {"getVarRecordData", {f, 0.0, most}, BAD_REC_NUM},
      {"putVarRecordData", {f, 0.0, -1.0, three}, BAD_REC_NUM},
      {"putVarRecordData", {f, 0.0, most, three}, BAD_REC_NUM},
      {"hyperGetVarData", {f, 0.0, -1.0, 1.0, 1.0, zero, one, one}, BAD_REC_NUM},
      {"hyperGetVarData", {f, 0.0, most, 1.0, 1.0, zero, one, one}, BAD_REC_NUM},
      {"hyperGetVarData", {f, 0.0, 0.0, 2.0, most, zero, one, one}, BAD_REC_NUM},
      {"hyperPutVarData", {f, 0.0, 1.0, 3.0, 1073741823.0, zero, one, one, three}, BAD_REC_NUM},
      {"hyperGetVarData", {f, 0.0, 0.0, 1.0, 1.0, zero, List{3}, List{most}}, BAD_DIM_INDEX},
      {"hyperPutVarData", {f, 0.0, 0.0, 1.0, 1.0, zero, List{3}, List{most}, three}, BAD_DIM_INDEX},
      {"setVarAllocBlockRecords", {f, bare, 0.0, most}, BAD_ALLOCATE_RECS},
      {"putAttrgEntry", {f, 0.0, 0.0, 1.0, bytes(std::size_t{1} << 31)}, BAD_NUM_ELEMS},
      {"putAttrEntry", {f, 1.0, 0.0, 41.0, bytes((std::size_t{1} << 32) + 1)}, BAD_NUM_ELEMS},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(raisedWith(row.operation, row.inputs), failureOf(row.operation, row.status));
    EXPECT_EQ(shown(call("getVarRecordData", f, 0.0, 0.0).at(0)), "int32 3x1: 7 7 7");
  }
  closeFiles();
  EXPECT_TRUE(filesAreUnchanged());
}

TEST_F(GuardsTest, LetPassWhatIsJustWithinTheBounds) {
  openFiles();
  const std::string longName(256, 'n');
  for (const List& extents : {List{32767, 65535}, List{most}}) {
    call("deleteVar", file_, createVar(file_, "large", 1, 1, extents));
  }
  call("renameAttr", file_, 0.0, longName);
  EXPECT_EQ(textOf(call("getAttrName", file_, 0.0).at(0)), longName);
  const double number = createVar(file_, longName, 4);
  EXPECT_EQ(textOf(call("getVarName", file_, number).at(0)), longName);
  EXPECT_EQ(shown(call("getVarData", file_, 3.0, most - 1).at(0)), "int32 1x1: -2147483647");
  closeFiles();
}

class PathsTest : public GatewayTest {
 protected:
  /// A path of exactly that length in a folder of long names.
  std::string longPath(std::size_t length, const std::string& extension) {
    const fs::path folder = path(std::string(200, 'd')) / fs::path(std::string(200, 'e'));
    fs::create_directories(folder);
    std::string name = folder.string() + "/";
    name.resize(length - extension.size(), 'n');
    return name + extension;
  }

  bool anyFile() const {
    const fs::recursive_directory_iterator all(path(""));
    return std::any_of(begin(all), end(all), [](auto& entry) { return entry.is_regular_file(); });
  }
};

TEST_F(PathsTest, AreRefusedWhereTheLibraryWouldCutThem) {
  const struct {
    std::size_t length;
    const char* extension;
    bool fits;
  } rows[] = {{508, "", true},      {509, "", false},    {512, "", false},     {512, ".cdf", true},
              {513, ".cdf", false}, {512, ".CDF", true}, {513, ".CDF", false}, {600, "", false}};
  for (const auto& row : rows) {
    SCOPED_TRACE(std::to_string(row.length) + row.extension);
    const std::string name = longPath(row.length, row.extension);
    if (row.fits) {
      call("close", call("create", name).at(0).get());
      call("delete", call("open", name).at(0).get());
    } else {
      EXPECT_EQ(raised("create", name), failureOf("create", CDF_NAME_TRUNC));
      EXPECT_EQ(raised("open", name), failureOf("open", CDF_NAME_TRUNC));
    }
    EXPECT_FALSE(anyFile());
  }
  // No other file is opened than the one named.
  const std::string name = longPath(512, ".cdf");
  call("close", call("create", name).at(0).get());
  EXPECT_EQ(raised("open", name + "f"), failureOf("open", CDF_NAME_TRUNC));
  // A file may have no extension.
  const std::string bare = longPath(511, "");
  fs::rename(name, bare);
  call("close", call("open", bare).at(0).get());
}

}  // namespace
