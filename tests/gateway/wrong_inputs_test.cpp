// Every input of every operation replaced by what it cannot be: a named error, and the files on
// disk and what the host holds as they were.
#include <set>

#include "tests/gateway/samples.h"

namespace {

class WrongInputsTest : public SamplesTest {
 protected:
  /// Calls an operation with one of its sample inputs replaced.
  Raised withInput(std::size_t operation, std::size_t input, const Input& other) {
    Sample sample = samples()[operation];
    sample.inputs[input] = other;
    return raisedWith(sample.operation, sample.inputs);
  }
};

struct Replacement {
  const char* name;
  Input array;
};

/// An array of every other class, and of the same class no elements and two of them.
std::vector<Replacement> replacementsOf(const vlArray* input) {
  const vlClassID own = vlGetClassID(input);
  std::vector<Replacement> all;
  for (const vlClassID id :
       {vlCELL_CLASS, vlLOGICAL_CLASS, vlCHAR_CLASS, vlDOUBLE_CLASS, vlSINGLE_CLASS, vlINT8_CLASS,
        vlUINT8_CLASS, vlINT16_CLASS, vlUINT16_CLASS, vlINT32_CLASS, vlUINT32_CLASS, vlINT64_CLASS,
        vlUINT64_CLASS}) {
    if (id != own) {
      Array other = oneOf(id);
      const char* name = vlGetClassName(other.get());
      all.push_back({name, std::move(other)});
    }
  }
  const auto ofOwnClass = [own](std::size_t count) {
    return own == vlCHAR_CLASS ? chars({1, count}, std::u16string(count, u'\0'))
                               : Array(vlCreateNumericMatrix(1, count, own, vlREAL));
  };
  all.push_back({"empty", ofOwnClass(0)});
  all.push_back({"pair", ofOwnClass(2)});
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
  for (std::size_t i = 0; i < samples().size(); ++i) {
    openFiles();
    const Sample sample = samples()[i];
    SCOPED_TRACE(sample.operation);
    EXPECT_EQ(missing.erase(sample.operation), 1U);
    const std::vector<Array> outputs = callWith(sample.operation, sample.inputs);
    if (sample.operation == "open" || sample.operation == "create") {
      call("close", outputs.at(0).get());
    }
    closeFiles();
  }
  EXPECT_EQ(missing, std::set<std::string>{});
}

TEST_F(WrongInputsTest, EveryInputOfEveryOperation) {
  std::set<std::string> taken;
  openFiles();
  for (std::size_t i = 0; i < samples().size(); ++i) {
    const Sample sample = samples()[i];
    for (std::size_t j = 0; j < sample.inputs.size(); ++j) {
      std::vector<Replacement> legal;
      for (const Replacement& other : replacementsOf(sample.inputs[j].array)) {
        const std::string name = sample.operation + " " + std::to_string(j) + " " + other.name;
        if (accepted.count(name) != 0) {
          taken.insert(name);
          legal.push_back(other);
          continue;
        }
        const Raised raised = withInput(i, j, other.array);
        EXPECT_EQ(raised.identifier.rfind("VORLAN:tarvik:", 0), 0U) << name << ": " << raised;
        EXPECT_FALSE(raised.message.empty()) << name;
      }
      closeFiles();
      EXPECT_TRUE(filesAreUnchanged()) << sample.operation << ", input " << j;
      openFiles();
      for (const Replacement& other : legal) {
        EXPECT_EQ(withInput(i, j, other.array), Raised{}) << sample.operation << other.name;
        closeFiles();
        openFiles();
      }
    }
  }
  closeFiles();
  EXPECT_EQ(taken, accepted);
}

}  // namespace
