#include "tests/gateway/script.h"

namespace {

std::vector<Script> allScripts() {
  std::vector<Script> all;
  for (const auto& file : std::filesystem::directory_iterator(SCRIPTS)) {
    for (Script& script : scriptsIn(file.path())) all.push_back(std::move(script));
  }
  return all;
}

class GatewayScripts : public ScriptTest, public testing::WithParamInterface<Script> {};

TEST_P(GatewayScripts, Run) {
  run(GetParam());
}

INSTANTIATE_TEST_SUITE_P(All, GatewayScripts, testing::ValuesIn(allScripts()),
                         [](const auto& test) { return test.param.file + test.param.title; });

}  // namespace
