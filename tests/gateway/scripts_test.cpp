#include "tests/gateway/script.h"

namespace {

using Scripts = testing::WithParamInterface<Script>;
class GatewayScripts : public ScriptTest, public Scripts {};

TEST_P(GatewayScripts, Run) {
  run(GetParam());
}

INSTANTIATE_TEST_SUITE_P(All, GatewayScripts, testing::ValuesIn(scriptsIn(SCRIPTS)),
                         [](const auto& test) { return test.param.file + test.param.title; });

}  // namespace
