// Files and the end of the plug-in: what scripts cannot say of them.
#include <filesystem>
#include <fstream>
#include <link.h>
#include <string_view>

#include "cdf/library.h"
#include "tests/gateway/gateway_test.h"

namespace fs = std::filesystem;

namespace {

using namespace tarvik;  // the library's items

constexpr long BAD_CDF_ID = -2002, NO_SUCH_CDF = -2067, CDF_DELETE_ERROR = -2088,
               NOT_A_CDF_OR_NOT_SUPPORTED = -2113;

using FilesTest = GatewayTest;

TEST_F(FilesTest, RefusalsRegisterNothing) {
  std::ofstream(path("text.cdf")) << "no CDF file at all";
  const File gone = create("gone");
  fs::remove(path("gone.cdf"));
  EXPECT_EQ(raised("open", path("missing")), failureOf("open", NO_SUCH_CDF));
  EXPECT_EQ(raised("open", path("text")), failureOf("open", NOT_A_CDF_OR_NOT_SUPPORTED));
  // The library reports the loss and keeps nothing; the identifier stays for another try.
  EXPECT_EQ(raised("delete", gone), failureOf("delete", CDF_DELETE_ERROR));
  EXPECT_EQ(raised("delete", gone), failureOf("delete", BAD_CDF_ID));
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

TEST_F(FilesTest, TheLibraryAndTheFilesItMakesSayTheSameOfThemselves) {
  const File file = create("a");
  long version[3] = {};
  cdf::call(GET_, LIB_VERSION_, &version[0], LIB_RELEASE_, &version[1], LIB_INCREMENT_,
            &version[2]);
  const std::vector<Array> ofLibrary = call("getLibraryVersion"), ofFile = call("getVersion", file);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(numberOf(ofLibrary.at(i)), version[i]);
    EXPECT_EQ(numberOf(ofFile.at(i)), version[i]);
  }
  const std::string copyright = textOf(call("getLibraryCopyright").at(0));
  EXPECT_EQ(copyright.rfind("\nCommon Data Format (CDF)", 0), 0U);
  EXPECT_EQ(textOf(call("getCopyright", file).at(0)), copyright);
  close(file);
}

bool isInProcess() {
  const auto isGateway = [](dl_phdr_info* info, std::size_t, void*) {
    const std::string_view file = info->dlpi_name;
    const std::string_view name = "/tarvik.so";
    return static_cast<int>(file.size() > name.size() &&
                            file.substr(file.size() - name.size()) == name);
  };
  return dl_iterate_phdr(isGateway, nullptr) != 0;
}

TEST_F(FilesTest, ThePluginLeavesTheProcess) {
  for (int round = 0; round < 3; ++round) {
    EXPECT_TRUE(isInProcess());
    const File file = create(std::to_string(round));
    raised("getVarName", file, 1e10);  // An exception of its own and one of the host's,
    call("getConstantNames");          // static data
    call("computeEpoch", List(7, 1));  // and templates of the standard library.
    EXPECT_EQ(gateway().unload().size(), 1U);
    EXPECT_FALSE(isInProcess());
    EXPECT_TRUE(gateway().unload().empty());

    reload();
    EXPECT_EQ(raised("inquire", file).identifier, "VORLAN:tarvik:unpackCDFId:invalidFileId");
  }
}

// The library hands out the value of a freed handle anew.
TEST_F(FilesTest, AHandleThatIsHandedOutAnewIsLive) {
  const File lost = create("lost");
  call("setChecksum", lost, 2.0);
  EXPECT_EQ(raised("close", lost), failureOf("close", -2055));
  const File next = create("next");
  EXPECT_EQ(call("inquire", next).size(), 5U);
  close(next);
  EXPECT_EQ(gateway().unload().size(), next.handle == lost.handle ? 0U : 1U);
}

}  // namespace
