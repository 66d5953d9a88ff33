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

const Raised invalidFileId = {"VORLAN:tarvik:unpackCDFId:invalidFileId",
                              "The CDF file ID argument is invalid."};

TEST_F(FilesTest, AnIdentifierLivesFromOpenToClose) {
  const std::vector<Array> created = call("create", path("a"));
  EXPECT_EQ(dimsOf(created.at(0)), (Dims{1, 1}));
  const File file{valuesOf<std::uint64_t>(created.at(0)).at(0)};
  EXPECT_TRUE(call("close", file).empty());
  EXPECT_EQ(raised("close", file), invalidFileId);

  const File again = open("a.cdf");
  const File other = create("b");
  EXPECT_TRUE(call("delete", again).empty());
  EXPECT_FALSE(fs::exists(path("a.cdf")));
  expectRefused({{"delete", {again}, invalidFileId}, {"close", {again}, invalidFileId}});
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
  const std::vector<vlhost::Warning> warnings = gateway().unload();
  ASSERT_EQ(warnings.size(), 1U);
  EXPECT_EQ(warnings[0].identifier, "VORLAN:tarvik:closingFileHandle");
  EXPECT_EQ(warnings[0].message, "Closing open CDF file handles.");

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
    std::vector<Array> facts = call("inquire", file);
    ASSERT_EQ(facts.size(), 5U);
    EXPECT_EQ(textOf(facts[1]), name);
    EXPECT_EQ(numberOf(facts[2]), -1);

    createVar(file, "x", 4);
    createVar(file, "y", 4);
    call("putVarData", file, 0.0, 6.0, List{}, row<std::int32_t>({1}));
    call("createAttr", file, "global", 1.0);
    call("createAttr", file, "perVariable", 2.0);
    call("createAttr", file, "another", 2.0);
    facts = call("inquire", file);
    EXPECT_EQ(numberOf(facts[2]), 6);
    EXPECT_EQ(numberOf(facts[3]), 2);
    EXPECT_EQ(numberOf(facts[4]), 3);
    EXPECT_EQ(numberOf(call("getNumgAttributes", file).at(0)), 1);
    EXPECT_EQ(numberOf(call("getNumvAttributes", file).at(0)), 2);
    EXPECT_EQ(textOf(call("getMajority", file).at(0)), name);
    EXPECT_EQ(textOf(call("getName", file).at(0)), path(name));
    EXPECT_EQ(textOf(call("getCopyright", file).at(0)).rfind("\nCommon Data Format (CDF)", 0), 0U);
    close(file);
  }
}

TEST_F(FilesTest, AnEncodingOfTheLibraryMayBeUnknownHere) {
  const File file = create("a");
  ASSERT_EQ(cdf::onFile(handleOf(file), PUT_, CDF_ENCODING_, 5L), 0);
  EXPECT_EQ(textOf(call("inquire", file).at(0)), "SGi_ENCODING");
  ASSERT_EQ(cdf::onFile(handleOf(file), PUT_, CDF_ENCODING_, 17L), 0);
  const Raised unknown = {"VORLAN:tarvik:inquireCDF:unknownEncoding",
                          "Unrecognized encoding value 17."};
  EXPECT_EQ(raised("inquire", file), unknown);
  close(file);
}

TEST_F(FilesTest, FormatAndMajorityAreTheLibrarysToJudge) {
  const File file = create("a");
  EXPECT_EQ(textOf(call("getFormat", file).at(0)), "SINGLE_FILE");
  EXPECT_TRUE(call("setFormat", file, 2.0).empty());
  EXPECT_EQ(textOf(call("getFormat", file).at(0)), "MULTI_FILE");
  EXPECT_EQ(textOf(call("getMajority", file).at(0)), "ROW_MAJOR");
  expectRefused({
      {"setFormat", {file, 3.0}, failureOf("setFormat", BAD_FORMAT)},
      {"setMajority", {file, 3.0}, failureOf("setMajority", BAD_MAJORITY)},
      {"setReadOnlyMode", {file, 5.0}, failureOf("setReadOnlyMode", BAD_READONLY_MODE)},
  });
  close(file);
}

TEST_F(FilesTest, AFileThatWasOpenedCanBeMadeReadOnly) {
  const File fresh = create("a");
  call("setReadOnlyMode", fresh, -1.0);  // The library takes it and does not do it.
  EXPECT_EQ(textOf(call("getReadOnlyMode", fresh).at(0)), "READONLYoff");
  close(fresh);

  const File file = open("a");
  call("setReadOnlyMode", file, -1.0);
  EXPECT_EQ(textOf(call("getReadOnlyMode", file).at(0)), "READONLYon");
  EXPECT_EQ(raised("createAttr", file, "x", 1.0), failureOf("createAttr", READ_ONLY_MODE));
  call("setReadOnlyMode", file, 0.0);
  EXPECT_EQ(textOf(call("getReadOnlyMode", file).at(0)), "READONLYoff");
  close(file);
}

TEST_F(FilesTest, TheLibrarySaysWhatItIs) {
  long numbers[3] = {};
  cdf::call(GET_, LIB_VERSION_, &numbers[0], LIB_RELEASE_, &numbers[1], LIB_INCREMENT_,
            &numbers[2]);
  const std::vector<Array> version = call("getLibraryVersion");
  ASSERT_EQ(version.size(), 3U);
  const File file = create("a");
  const std::vector<Array> written = call("getVersion", file);
  ASSERT_EQ(written.size(), 3U);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(numberOf(version[i]), numbers[i]);
    EXPECT_EQ(numberOf(written[i]), numbers[i]);
  }
  EXPECT_EQ(numbers[0], 3);
  EXPECT_EQ(textOf(call("getLibraryCopyright").at(0)), textOf(call("getCopyright", file).at(0)));
  close(file);
}

TEST_F(FilesTest, ValidationIsOnOrOff) {
  for (const auto& [mode, name] :
       {std::pair(0.0, "VALIDATEFILEoff"), std::pair(-1.0, "VALIDATEFILEon")}) {
    EXPECT_TRUE(call("setValidate", mode).empty());
    EXPECT_EQ(textOf(call("getValidate").at(0)), name);
  }
  const Raised illegal = {"VORLAN:tarvik:setValidate:illegalModeValue",
                          "1 is not a legal validation mode."};
  EXPECT_EQ(raised("setValidate", 1.0), illegal);
  EXPECT_EQ(textOf(call("getValidate").at(0)), "VALIDATEFILEon");
}

}  // namespace
