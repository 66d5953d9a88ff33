// What a call hands out, and what it must not.
#include <cstdint>

#include "tests/runtime/odd.h"

namespace {

class OutputsTest : public HostTest {
 protected:
  OddPlugin odd_;
};

TEST_F(OutputsTest, AtLeastEightSlotsAreThereAndEmpty) {
  for (const int asked : {-1, 0, 1, 7, 8, 9, 100}) {
    EXPECT_EQ(odd_.number("emptySlots", asked), asked > 8 ? asked : 8) << asked;
  }
}

TEST_F(OutputsTest, TheCallerGetsTheFilledSlotsItAskedForButAlwaysOne) {
  const struct {
    int asked, filled;
    std::size_t given;
  } kRows[] = {{0, 0, 0}, {0, 1, 1}, {0, 8, 1}, {1, 2, 1}, {2, 1, 1},
               {2, 8, 2}, {8, 8, 8}, {9, 8, 8}, {9, 9, 9}, {-1, 8, 1}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(testing::Message() << row.asked << " asked, " << row.filled << " filled");
    const vlhost::Result result = odd_.run("fillSlots", row.asked, scalar(row.filled).get());
    ASSERT_EQ(result.outputs.size(), row.given);
    for (std::size_t i = 0; i < row.given; ++i) {
      EXPECT_EQ(*static_cast<double*>(vlGetData(result.outputs[i].get())), static_cast<double>(i));
    }
    EXPECT_EQ(vlhost::holdings().arrays, row.given);
  }
}

TEST_F(OutputsTest, SlotsThatDoNotOwnTheirArrayAreRefused) {
  const vlhost::Array argument = scalar(5);
  for (const char* command : {"twice", "twiceFarApart", "cellAndItsValue", "input"}) {
    for (const int asked : {0, 2, 8}) {
      EXPECT_EQ(errorOf([&] { odd_.run(command, asked, argument.get()); }), "VORLAN:badOutput")
          << command << ", " << asked << " asked";
    }
  }
  EXPECT_EQ(errorOf([&] { odd_.run("gap", 3); }), "VORLAN:badOutput");
  EXPECT_EQ(odd_.run("gap", 2).outputs.size(), 1u);
  EXPECT_EQ(*static_cast<double*>(vlGetData(argument.get())), 5);
}

TEST_F(OutputsTest, InputsStayTheCallers) {
  const vlhost::Array cell(vlCreateCellMatrix(2, 1));
  vlSetCell(cell.get(), 1, vlCreateCellMatrix(1, 1));
  for (const char* command : {"inputIntoCell", "intoInputCell", "intoInputInnerCell"}) {
    EXPECT_EQ(errorOf([&] { odd_.run(command, 0, cell.get()); }), "VORLAN:badCell") << command;
  }
  EXPECT_EQ(vlhost::cellValue(cell.get(), 0), nullptr);
  EXPECT_EQ(vlhost::holdings().arrays, 2u);
}

TEST_F(OutputsTest, AnOutputIsTheCallersLikeAnyArrayOfItsOwn) {
  vlhost::Result result = odd_.run("build");
  const vlhost::Array outer(vlCreateCellMatrix(1, 1));
  vlSetCell(outer.get(), 0, result.outputs[0].release());
  auto* inner = const_cast<vlArray*>(vlhost::cellValue(vlhost::cellValue(outer.get(), 0), 2));
  vlSetCell(inner, 0, vlCreateString("added"));
  EXPECT_EQ(odd_.number("countInputs", 1, outer.get()), 2);
}

}  // namespace
