// The entry point and the operation table.
#include <algorithm>
#include <set>

#include "tests/gateway/samples.h"

namespace {

using DispatchTest = SamplesTest;

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

TEST_F(DispatchTest, EveryOperationHasItsNumbersOfInputs) {
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

TEST_F(DispatchTest, TheFirstArgumentNamesTheOperationExactly) {
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

TEST_F(DispatchTest, AllOutputsAreStoredWhateverWasAskedFor) {
  const Array name = chars({17, 1}, u"getLibraryVersion");  // Any shape of a name will do.
  for (const int asked : {0, 1, 2, 3, 8}) {
    const auto given = static_cast<std::size_t>(std::clamp(asked, 1, 3));
    EXPECT_EQ(gateway().call({name.get()}, asked).outputs.size(), given);
  }
}

}  // namespace
