// What the tests of the host share.
#pragma once

#include <gtest/gtest.h>
#include <string>

#include "runtime/host.h"

namespace vlhost {

inline bool operator==(const Holdings& a, const Holdings& b) {
  return a.arrays == b.arrays && a.blocks == b.blocks;
}
inline std::ostream& operator<<(std::ostream& out, const Holdings& held) {
  return out << held.arrays << " arrays, " << held.blocks << " blocks";
}

}  // namespace vlhost

/// The identifier of the error that the code raises, "" when it raises none.
template <typename Code>
std::string errorOf(const Code& code) {
  try {
    code();
    return "";
  } catch (const vlhost::Error& error) {
    return error.identifier();
  }
}

/// Whatever a test does, nothing is alive at its end that was not before.
class HostTest : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(vlhost::holdings(), before_); }

 private:
  const vlhost::Holdings before_ = vlhost::holdings();
};
