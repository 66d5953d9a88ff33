#include <algorithm>
#include <cstring>
#include <link.h>
#include <memory>

#include "tests/runtime/odd.h"

namespace {

class UnloadingTest : public HostTest {};

bool inProcess(const char* file) {
  const auto isFile = [](dl_phdr_info* info, std::size_t, void* name) {
    return static_cast<int>(std::strcmp(info->dlpi_name, static_cast<const char*>(name)) == 0);
  };
  return dl_iterate_phdr(isFile, const_cast<char*>(file)) != 0;
}

using Identifiers = std::vector<std::string>;

Identifiers identifiers(const std::vector<vlhost::Warning>& warnings) {
  Identifiers all(warnings.size());
  std::transform(warnings.begin(), warnings.end(), all.begin(),
                 [](const vlhost::Warning& warning) { return warning.identifier; });
  return all;
}

TEST_F(UnloadingTest, ThePluginLeavesTheProcessAndStartsAfresh) {
  for (int round = 0; round < 3; ++round) {
    OddPlugin odd;
    EXPECT_TRUE(inProcess(ODD_PLUGIN));
    EXPECT_EQ(odd.number("countDestroyed"), 0);  // its statics are new
    errorOf([&] { odd.run("failWithDestructors"); });
    EXPECT_EQ(odd.unload().size(), 0u);
    EXPECT_FALSE(inProcess(ODD_PLUGIN));
    EXPECT_EQ(odd.unload().size(), 0u);
    EXPECT_EQ(errorOf([&] { odd.run("countInputs"); }), "VORLAN:pluginUnloaded");
  }
}

TEST_F(UnloadingTest, TheExitHandlerRunsOnceAndItsErrorIsAWarning) {
  const struct {
    int handler;
    Identifiers warnings;
  } kRows[] = {
      {0, {"VORLAN:odd:exit"}},
      {1, {"VORLAN:odd:exit", "VORLAN:odd:exitFailed"}},
      {2, {"VORLAN:pluginException"}},
  };
  for (const auto& row : kRows) {
    OddPlugin odd;
    for (int times = 0; times < 3; ++times)
      EXPECT_EQ(odd.number("atExit", 1, scalar(row.handler).get()), 0);
    EXPECT_EQ(identifiers(odd.unload()), row.warnings);
    EXPECT_FALSE(inProcess(ODD_PLUGIN));
    EXPECT_EQ(vlhost::holdings(), (vlhost::Holdings{0, 0}));
  }
}

TEST_F(UnloadingTest, TheLastObjectOfAFileTakesItOut) {
  auto first = std::make_unique<OddPlugin>(), second = std::make_unique<OddPlugin>();
  EXPECT_EQ(first->number("atExit", 1, scalar(0).get()), 0);
  EXPECT_EQ(identifiers(first->unload()), Identifiers{});
  first.reset();
  EXPECT_EQ(second->number("countInputs"), 1);

  testing::internal::CaptureStderr();
  second.reset();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Warning: leaving [VORLAN:odd:exit]\n");
  EXPECT_FALSE(inProcess(ODD_PLUGIN));
}

}  // namespace
