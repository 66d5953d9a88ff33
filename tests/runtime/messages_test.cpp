#include <string>

#include "host/plugin.h"
#include "tests/runtime/support.h"

namespace {

class MessagesTest : public HostTest {};

TEST_F(MessagesTest, ErrorsCarryTheirTextWhateverItsLength) {
  for (const auto raise : {vlErrMsgIdAndTxt, vlpErrMsgIdAndTxt}) {
    for (const std::size_t size : {0u, 1u, 255u, 256u, 257u, 65535u, 65536u, 65537u}) {
      const std::string text(size, 'x');
      try {
        raise("VORLAN:some:thing", "%s in %d of %u%%", text.c_str(), -1, 4294967295u);
        FAIL();
      } catch (const vlhost::Error& error) {
        EXPECT_EQ(error.identifier(), "VORLAN:some:thing");
        EXPECT_EQ(error.what(), text + " in -1 of 4294967295%");
      }
    }
  }
}

TEST_F(MessagesTest, WarningsOutsideCallsAreOneLineEach) {
  testing::internal::CaptureStderr();
  vlWarningMsgIdAndTxt("VORLAN:first", "%d left", 2);
  vlpWarnMsgIdAndTxt("VORLAN:second", "none");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Warning: 2 left [VORLAN:first]\nWarning: none [VORLAN:second]\n");
}

TEST_F(MessagesTest, NoExitHandlerIsKeptOutsideCalls) {
  EXPECT_NE(vlpAtExit([] {}), 0);
}

}  // namespace
