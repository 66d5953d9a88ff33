// What is tried with every operation: numbers of inputs, and every input replaced by what it cannot
// be: a named error, and the files on disk and what the host holds as they were.
#include <algorithm>
#include <set>

#include "tests/gateway/samples.h"

namespace {

using SweepsTest = SamplesTest;

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

TEST_F(SweepsTest, TheSamplesAreAllOperationsAndRight) {
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

TEST_F(SweepsTest, EveryInputOfEveryOperation) {
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

/// Operations that may be called without the last input of their samples.
const std::set<std::string> lastMayBeMissing = {"getVarData", "setCompression",
                                                "setVarCompression"};

/// What a number of inputs raises; nothing where it is allowed.
Raised countError(const std::string& name, std::size_t count, std::size_t least, std::size_t most) {
  if (count >= least && count <= most) return {};
  const bool few = count < least;
  const std::string bound = least == most ? "" : few ? "at least " : "no more than ";
  return {std::string("VORLAN:tarvik:") + (few ? "tooFewInputs" : "tooManyInputs"),
          std::to_string(count) + " inputs were given to " + name + ", but " + bound +
              std::to_string(few ? least : most) +
              (few || least == most ? " are required." : " are allowed.")};
}

TEST_F(SweepsTest, EveryOperationHasItsNumbersOfInputs) {
  for (const auto& [name, inputs] : samples()) {
    const std::size_t most = inputs.size();
    const std::size_t least = most - lastMayBeMissing.count(name);
    for (std::size_t count = 0; count <= 10; ++count) {
      const Raised raised = raisedWith(name, Inputs(count, oneOf(vlCELL_CLASS)));
      const Raised expected = countError(name, count, least, most);
      if (expected == Raised{}) {
        // The handler has the word: it takes no cell.
        EXPECT_EQ(raised.identifier.empty(), count == 0) << name;
        EXPECT_EQ(raised.identifier.rfind("VORLAN:tarvik:too", 0), std::string::npos);
      } else {
        EXPECT_EQ(raised, expected);
      }
    }
  }
}

TEST_F(SweepsTest, TheFirstArgumentNamesTheOperationExactly) {
  for (const char* name : {"", "OPEN", "open ", " open", "opened", "ope"}) {
    EXPECT_EQ(raised(name), (Raised{"VORLAN:tarvik:invalidOperation",
                                    std::string("Unrecognized operation:  \"") + name + "\"."}));
  }
  const auto refusal = [this](const std::vector<const vlArray*>& arguments) -> Raised {
    try {
      gateway().call(arguments, 1);
    } catch (const vlhost::Error& error) {
      return {error.identifier(), error.what()};
    }
    return {};
  };
  EXPECT_EQ(refusal({}),
            (Raised{"VORLAN:tarvik:tooFewArguments", "Must provide at least one input argument."}));
  for (const vlClassID id : allClasses) {
    if (id == vlCHAR_CLASS) continue;
    EXPECT_EQ(refusal({oneOf(id).get()}), (Raised{"VORLAN:tarvik:firstArgNotChar",
                                                  "First argument must be a function string."}));
  }
}

TEST_F(SweepsTest, AllOutputsAreStoredWhateverWasAskedFor) {
  const Array name = chars({17, 1}, u"getLibraryVersion");  // Any shape of a name will do.
  for (const int asked : {0, 1, 2, 3, 8}) {
    const auto given = static_cast<std::size_t>(std::clamp(asked, 1, 3));
    EXPECT_EQ(gateway().call({name.get()}, asked).outputs.size(), given);
  }
}

}  // namespace
