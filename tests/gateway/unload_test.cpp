// The plug-in leaves the process, whatever it did there, and starts afresh when it comes back.
#include <link.h>
#include <string_view>

#include "tests/gateway/gateway_test.h"

namespace {

using UnloadTest = GatewayTest;

bool isInProcess() {
  const auto isGateway = [](dl_phdr_info* info, std::size_t, void*) {
    const std::string_view file = info->dlpi_name;
    const std::string_view name = "/tarvik.so";
    return static_cast<int>(file.size() > name.size() &&
                            file.substr(file.size() - name.size()) == name);
  };
  return dl_iterate_phdr(isGateway, nullptr) != 0;
}

TEST_F(UnloadTest, ThePluginLeavesTheProcess) {
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

}  // namespace
