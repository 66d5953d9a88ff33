#include "tests/gateway/other_host/run.h"

#include <gtest/gtest.h>

int runTests(int count, char** arguments) {
  testing::InitGoogleTest(&count, arguments);
  return RUN_ALL_TESTS();
}
