// What the tests of the host share.
#pragma once

#include <gtest/gtest.h>
#include <string>
#include <utility>

#include "runtime/host.h"

/// How many arrays and blocks are alive.
inline std::pair<std::size_t, std::size_t> held() {
  return {vlhost::holdings().arrays, vlhost::holdings().blocks};
}

/// The identifier and the message of the error that the code raises, empty when it raises none.
template <typename Code>
std::pair<std::string, std::string> raised(const Code& code) {
  try {
    code();
    return {};
  } catch (const vlhost::Error& error) {
    return {error.identifier(), error.what()};
  }
}

template <typename Code>
std::string errorOf(const Code& code) {
  return raised(code).first;
}

/// Whatever a test does, nothing is alive at its end that was not before.
class HostTest : public testing::Test {
  void TearDown() override { EXPECT_EQ(held(), before_); }
  const std::pair<std::size_t, std::size_t> before_ = held();
};
