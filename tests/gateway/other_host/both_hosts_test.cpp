// The project's host in a program that is a host itself: it loads no plug-in, which would get the
// functions of the program.
#include <gtest/gtest.h>

#include "runtime/host.h"

TEST(BothHosts, TheProjectsHostLoadsNoPluginThatAnotherWouldAnswer) {
  try {
    const vlhost::Plugin gateway(GATEWAY);
    FAIL() << "the plug-in was loaded";
  } catch (const vlhost::Error& error) {
    EXPECT_EQ(error.identifier(), "VORLAN:invalidPlugin");
    EXPECT_NE(std::string(error.what()).find("other_host_test"), std::string::npos) << error.what();
  }
}
