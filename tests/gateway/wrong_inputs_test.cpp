// Every input of every operation replaced by what it cannot be: a named error, and the files on
// disk and what the host holds as they were.
#include <set>

#include "tests/gateway/samples.h"

namespace {

using WrongInputsTest = SamplesTest;

/// An array of every other class, and of the same class no elements and two of them; by name.
std::vector<std::pair<std::string, Input>> replacementsOf(const vlArray* input) {
  const vlClassID own = vlGetClassID(input);
  std::vector<std::pair<std::string, Input>> all;
  for (const vlClassID id : allClasses) {
    Array other = oneOf(id);
    const std::string name = vlGetClassName(other.get());
    if (id != own) all.emplace_back(name, std::move(other));
  }
  for (const auto& [name, count] : {std::pair("empty", 0U), std::pair("pair", 2U)}) {
    all.emplace_back(name, own == vlCHAR_CLASS
                               ? chars({1, count}, std::u16string(count, u'\0'))
                               : Array(vlCreateNumericMatrix(1, count, own, vlREAL)));
  }
  return all;
}

/// What operations take all the same, inputs counted from 0.
const std::set<std::string> accepted = {
    "createVar 5 logical",    "createVar 6 logical",      "computeEpoch 0 empty",
    "computeEpoch16 0 empty", "epochBreakdown 0 empty",   "epochBreakdown 0 pair",
    "getVarData 3 empty",     "epoch16Breakdown 0 empty", "epoch16Breakdown 0 pair",
    "putVarData 3 empty",     "putAttrEntry 4 empty",     "putAttrEntry 4 pair",
    "putAttrgEntry 4 pair",
};

TEST_F(WrongInputsTest, TheSamplesAreAllOperationsAndRight) {
  std::set<std::string> missing = {
#define OPERATION(name, handler, id, minInputs, maxInputs) #name,
#include "gateway/operations.def"
#undef OPERATION
  };
  EXPECT_EQ(missing.size(), 88U);
  for (std::size_t i = 0; i < samples().size(); ++i) {
    openFiles();
    const Sample sample = samples()[i];
    EXPECT_EQ(missing.erase(sample.operation), 1U);
    const std::vector<Array> outputs = callWith(sample.operation, sample.inputs);
    if (opensAFile(sample)) call("close", outputs.at(0).get());
    closeFiles();
  }
  EXPECT_EQ(missing, std::set<std::string>{});
}

TEST_F(WrongInputsTest, EveryInputOfEveryOperation) {
  std::set<std::string> taken;
  openFiles();
  for (std::size_t i = 0; i < samples().size(); ++i) {
    for (std::size_t j = 0; j < samples()[i].inputs.size(); ++j) {
      std::vector<Input> legal;
      const auto raisedBy = [&](const Input& other) {
        Sample sample = samples()[i];
        sample.inputs[j] = other;
        return raisedWith(sample.operation, sample.inputs);
      };
      const std::string place = samples()[i].operation + " " + std::to_string(j) + " ";
      for (const auto& [name, other] : replacementsOf(samples()[i].inputs[j].array)) {
        if (accepted.count(place + name) != 0) {
          taken.insert(place + name);
          legal.push_back(other);
          continue;
        }
        const Raised raised = raisedBy(other);
        EXPECT_EQ(raised.identifier.rfind("VORLAN:tarvik:", 0), 0U) << place << name << raised;
        EXPECT_FALSE(raised.message.empty()) << place << name;
      }
      closeFiles();
      EXPECT_TRUE(filesAreUnchanged()) << place;
      openFiles();
      for (const Input& other : legal) {
        EXPECT_EQ(raisedBy(other), Raised{}) << place;
        closeFiles();
        openFiles();
      }
    }
  }
  closeFiles();
  EXPECT_EQ(taken, accepted);
}

}  // namespace
