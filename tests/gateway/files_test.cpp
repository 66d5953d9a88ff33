// Files: the life of an identifier, what a file and the library say of themselves, and what can be
// set.
#include <filesystem>
#include <fstream>

#include "cdf/call.h"
#include "tests/gateway/gateway_test.h"
#include "tests/gateway/statuses.h"

namespace fs = std::filesystem;

namespace {

using namespace tarvik;  // the library's items

using FilesTest = GatewayTest;

TEST_F(FilesTest, AnIdentifierLivesFromOpenToClose) {
  const Raised invalid = {"VORLAN:tarvik:unpackCDFId:invalidFileId",
                          "The CDF file ID argument is invalid."};
  const Array id = std::move(call("create", path("a")).at(0));
  EXPECT_EQ(dimsOf(id), (Dims{1, 1}));
  EXPECT_TRUE(call("close", id.get()).empty());
  EXPECT_EQ(raised("close", id.get()), invalid);

  const File again = open("a");
  const File other = create("b");
  EXPECT_TRUE(call("delete", again).empty());
  EXPECT_FALSE(fs::exists(path("a.cdf")));
  expectRefused({{"delete", {again}, invalid}, {"close", {again}, invalid}});
  call("inquire", other);
  close(other);
}

TEST_F(FilesTest, RefusalsRegisterNothing) {
  close(create("a"));
  std::ofstream(path("text.cdf")) << "no CDF file at all";
  const File gone = create("gone");
  fs::remove(path("gone.cdf"));
  expectRefused({
      {"open", {path("missing")}, failureOf("open", NO_SUCH_CDF)},
      {"open", {path("a/b")}, failureOf("open", NO_SUCH_CDF)},
      {"open", {path("text")}, failureOf("open", NOT_A_CDF_OR_NOT_SUPPORTED)},
      {"create", {path("a")}, failureOf("create", CDF_EXISTS)},
      {"create", {path("no/folder")}, failureOf("create", CDF_CREATE_ERROR)},
      // The library reports the loss and keeps nothing; the identifier stays for another try.
      {"delete", {gone}, failureOf("delete", CDF_DELETE_ERROR)},
      {"delete", {gone}, failureOf("delete", BAD_CDF_ID)},
  });
  ASSERT_EQ(gateway().unload().size(), 1U);
}

TEST_F(FilesTest, UnloadingClosesOpenFilesWithOneWarning) {
  for (const char* name : {"a", "b"}) {
    const File file = create(name);
    createVar(file, "x", 4);
    call("putVarData", file, 0.0, 0.0, List{}, row<std::int32_t>({17}));
  }
  const std::vector<vlhost::Warning> atTheEnd = gateway().unload();
  ASSERT_EQ(atTheEnd.size(), 1U);
  EXPECT_EQ((Raised{atTheEnd[0].identifier, atTheEnd[0].message}),
            (Raised{"VORLAN:tarvik:closingFileHandle", "Closing open CDF file handles."}));
  reload();
  for (const char* name : {"a", "b"}) {
    const File file = open(name);
    EXPECT_EQ(shown(call("getVarData", file, 0.0, 0.0).at(0)), "int32 1x1: 17");
    close(file);
  }
}

TEST_F(FilesTest, RVariablesOfAnOpenedFileAreSeen) {
  const std::string name = path("r");
  const long extents[] = {3, 2};
  const long varys[] = {VARY, VARY};
  constexpr long rVAR_ = 35;
  long number = -1;
  CDFid made = nullptr;
  ASSERT_EQ(cdf::call(CREATE_, CDF_, name.c_str(), 2L, extents, &made), 0);
  ASSERT_EQ(cdf::onFile(made, CREATE_, rVAR_, "old", 4L, 1L, VARY, varys, &number, CLOSE_, CDF_),
            0);
  const File file = open("r");
  EXPECT_EQ(numberOf(call("inquire", file).at(3)), 1);
  EXPECT_EQ(valuesOf<double>(call("inquireVar", file, 0.0).at(3)), (List{2, 3}));
  close(file);
}

TEST_F(FilesTest, AFileSaysWhatItIs) {
  for (const auto& [code, name] : {std::pair(1.0, "ROW_MAJOR"), std::pair(2.0, "COLUMN_MAJOR")}) {
    const File file = create(name);
    call("setMajority", file, code);
    EXPECT_EQ(numberOf(call("inquire", file).at(2)), -1);
    createVar(file, "x", 4);
    createVar(file, "y", 4);
    call("putVarData", file, 0.0, 6.0, List{}, row<std::int32_t>({1}));
    call("createAttr", file, "global", 1.0);
    call("createAttr", file, "perVariable", 2.0);
    call("createAttr", file, "another", 2.0);
    const std::vector<Array> facts = call("inquire", file);
    ASSERT_EQ(facts.size(), 5U);
    EXPECT_EQ(textOf(facts[1]), name);
    EXPECT_EQ((List{numberOf(facts[2]), numberOf(facts[3]), numberOf(facts[4])}), (List{6, 2, 3}));
    EXPECT_EQ(numberOf(call("getNumgAttributes", file).at(0)), 1);
    EXPECT_EQ(numberOf(call("getNumvAttributes", file).at(0)), 2);
    EXPECT_EQ(textOf(call("getMajority", file).at(0)), name);
    EXPECT_EQ(textOf(call("getName", file).at(0)), path(name));

    long version[3] = {};
    cdf::call(GET_, LIB_VERSION_, &version[0], LIB_RELEASE_, &version[1], LIB_INCREMENT_,
              &version[2]);
    const std::vector<Array> ofLibrary = call("getLibraryVersion");
    const std::vector<Array> ofFile = call("getVersion", file);
    for (std::size_t i = 0; i < 3; ++i) {
      EXPECT_EQ(numberOf(ofLibrary.at(i)), version[i]);
      EXPECT_EQ(numberOf(ofFile.at(i)), version[i]);
    }
    const std::string copyright = textOf(call("getLibraryCopyright").at(0));
    EXPECT_EQ(copyright.rfind("\nCommon Data Format (CDF)", 0), 0U);
    EXPECT_EQ(textOf(call("getCopyright", file).at(0)), copyright);
    close(file);
  }
}

TEST_F(FilesTest, ModesAreSetAndShown) {
  close(create("a"));
  const File fresh = create("b");
  const File opened = open("a");
  const auto shows = [this](const char* operation, const Inputs& inputs, const char* name) {
    EXPECT_EQ(textOf(callWith(operation, inputs).at(0)), name);
  };
  shows("getFormat", {fresh}, "SINGLE_FILE");
  EXPECT_TRUE(call("setFormat", fresh, 2.0).empty());
  shows("getFormat", {fresh}, "MULTI_FILE");
  shows("getMajority", {fresh}, "ROW_MAJOR");
  call("setReadOnlyMode", fresh, -1.0);  // The library takes it and does not do it.
  shows("getReadOnlyMode", {fresh}, "READONLYoff");
  call("setReadOnlyMode", opened, -1.0);
  shows("getReadOnlyMode", {opened}, "READONLYon");
  call("setValidate", 0.0);
  shows("getValidate", {}, "VALIDATEFILEoff");
  call("setValidate", -1.0);
  shows("getValidate", {}, "VALIDATEFILEon");
  expectRefused({
      {"createAttr", {opened, "x", 1.0}, failureOf("createAttr", READ_ONLY_MODE)},
      {"setFormat", {fresh, 3.0}, failureOf("setFormat", BAD_FORMAT)},
      {"setMajority", {fresh, 3.0}, failureOf("setMajority", BAD_MAJORITY)},
      {"setReadOnlyMode", {fresh, 5.0}, failureOf("setReadOnlyMode", BAD_READONLY_MODE)},
  });
  call("setReadOnlyMode", opened, 0.0);
  shows("getReadOnlyMode", {opened}, "READONLYoff");
  close(fresh);
  close(opened);
}

}  // namespace
