// Epochs, array at a time, against the library's own calls one by one.
#include "cdf/functions.h"
#include "tests/gateway/gateway_test.h"

namespace {

using EpochsTest = GatewayTest;

// Components out of their ranges among them: what the library makes of these is passed on.
TEST_F(EpochsTest, ArraysAreTheLibrarysValuesOneByOne) {
  List components, components16, epochs, epochs16, parts, parts16;
  for (long i = 0; i < 300; ++i) {
    long c[] = {1 + i * 33,  i % 12 + 1,   i * 7 % 400 - 9, i * 5 % 24, i * 11 % 60,
                i * 13 % 60, i * 37 % 999, i * 17 % 999,    i,          999 - i};
    components.insert(components.end(), c, c + 7);
    components16.insert(components16.end(), c, c + 10);
    epochs.push_back(computeEPOCH(c[0], c[1], c[2], c[3], c[4], c[5], c[6]));
    double pair[2];
    computeEPOCH16(c[0], c[1], c[2], c[3], c[4], c[5], c[6], c[7], c[8], c[9], pair);
    epochs16.insert(epochs16.end(), pair, pair + 2);
    EPOCHbreakdown(epochs.back(), c, c + 1, c + 2, c + 3, c + 4, c + 5, c + 6);
    parts.insert(parts.end(), c, c + 7);
    EPOCH16breakdown(pair, c, c + 1, c + 2, c + 3, c + 4, c + 5, c + 6, c + 7, c + 8, c + 9);
    parts16.insert(parts16.end(), c, c + 10);
  }
  EXPECT_EQ(valuesOf<double>(call("computeEpoch", components).at(0)), epochs);
  EXPECT_EQ(valuesOf<double>(call("computeEpoch16", components16).at(0)), epochs16);
  EXPECT_EQ(valuesOf<double>(call("epochBreakdown", epochs).at(0)), parts);
  EXPECT_EQ(valuesOf<double>(call("epoch16Breakdown", epochs16).at(0)), parts16);
}

}  // namespace
