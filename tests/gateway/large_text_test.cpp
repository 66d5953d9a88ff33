// Text so large that it is written past the processor's caches, in chunks and a rest.
#include "tests/gateway/gateway_test.h"

namespace {

using LargeTextTest = GatewayTest;

TEST_F(LargeTextTest, EachByteIsWidenedAsASignedOne) {
  constexpr std::size_t length = 5, records = (std::size_t{9} << 20) / length;
  std::u16string written(length * records, u'\0'), expected = written;
  for (std::size_t i = 0; i < written.size(); ++i) {
    const auto byte = static_cast<unsigned char>(1 + i % 251);  // none is NUL
    written[i] = static_cast<char16_t>(0x4200 + byte);
    expected[i] = static_cast<char16_t>(static_cast<signed char>(byte));
  }
  ASSERT_NE(written.size() % 16, 0U);
  const File file = create("a");
  createVar(file, "text", 51, length, {});
  const auto all = static_cast<double>(records);
  call("hyperPutVarData", file, 0.0, 0.0, all, 1.0, List{}, List{}, List{},
       chars({length, records}, written));
  const std::vector<Array> outputs =
      callWith("hyperGetVarData", {file, 0.0, 0.0, all, 1.0, List{}, List{}, List{}});
  const Array& read = outputs.at(0);
  ASSERT_EQ(dimsOf(read), (Dims{length, records}));
  const auto* const elements = static_cast<const char16_t*>(vlGetData(read.get()));
  EXPECT_TRUE(std::equal(expected.begin(), expected.end(), elements));
  close(file);
}

}  // namespace
