// The entry point and the operation table.
#include <algorithm>
#include <set>
#include <sstream>

#include "tests/gateway/gateway_test.h"

namespace {

using DispatchTest = GatewayTest;

/// Operations that take from `least` to `most` inputs after their names.
struct Operations {
  int least;
  int most;
  const char* names;
};

constexpr Operations operations[] = {
    {0, 0, "getLibraryVersion getLibraryCopyright getValidate getConstantNames"},
    {1, 1,
     "close computeEpoch computeEpoch16 create delete epochBreakdown epoch16Breakdown "
     "getCacheSize getChecksum getCompression getCompressionCacheSize getCopyright getFormat "
     "getMajority getName getNumgAttributes getNumvAttributes getReadOnlyMode getStageCacheSize "
     "getVersion inquire open setValidate getConstantValue"},
    {2, 2,
     "closeVar deleteAttr deleteVar getAttrName getAttrNum getAttrMaxEntry getAttrMaxgEntry "
     "getAttrScope getNumAttrgEntries getNumAttrEntries getVarAllocRecords getVarCacheSize "
     "getVarName getVarNum getVarPadValue getVarReservePercent getVarBlockingFactor "
     "getVarCompression getVarMaxWrittenRecNum getVarMaxAllocRecNum getVarNumRecsWritten "
     "getVarSparseRecords inquireVar inquireAttr setCacheSize setChecksum "
     "setCompressionCacheSize setFormat setMajority setReadOnlyMode setStageCacheSize "
     "setVarsCacheSize"},
    {2, 3, "setCompression"},
    {3, 3,
     "createAttr deleteAttrEntry deleteAttrgEntry getAttrgEntry getAttrEntry getVarRecordData "
     "inquireAttrgEntry inquireAttrEntry renameAttr renameVar setVarBlockingFactor "
     "setVarCacheSize setVarPadValue setVarReservePercent setVarSparseRecords setVarInitialRecs"},
    {3, 4, "getVarData setVarCompression"},
    {4, 4, "deleteVarRecords putVarRecordData setVarAllocBlockRecords"},
    {5, 5, "putAttrEntry putAttrgEntry putVarData"},
    {7, 7, "createVar"},
    {8, 8, "hyperGetVarData"},
    {9, 9, "hyperPutVarData"},
};

/// What a number of inputs raises; nothing where it is allowed.
Raised countError(const std::string& name, const Operations& row, int count) {
  std::string text = std::to_string(count) + " inputs were given to " + name + ", but ";
  const bool few = count < row.least;
  if (row.least == row.most) {
    text += std::to_string(row.least) + " are required.";
  } else if (few) {
    text += "at least " + std::to_string(row.least) + " are required.";
  } else {
    text += "no more than " + std::to_string(row.most) + " are allowed.";
  }
  return {std::string("VORLAN:tarvik:") + (few ? "tooFewInputs" : "tooManyInputs"), text};
}

TEST_F(DispatchTest, EveryOperationHasItsNameAndItsNumbersOfInputs) {
  std::set<std::string> seen;
  for (const Operations& row : operations) {
    std::istringstream names(row.names);
    for (std::string name; names >> name;) {
      SCOPED_TRACE(name);
      seen.insert(name);
      for (int count = 0; count <= 10; ++count) {
        const Inputs inputs(static_cast<std::size_t>(count), oneOf(vlCELL_CLASS));
        const Raised raised = raisedWith(name, inputs);
        if (count < row.least || count > row.most) {
          EXPECT_EQ(raised, countError(name, row, count));
        } else {
          // The handler has the word: it takes no cell.
          EXPECT_EQ(raised.identifier.empty(), count == 0);
          EXPECT_EQ(raised.identifier.rfind("VORLAN:tarvik:too", 0), std::string::npos);
        }
      }
    }
  }
  EXPECT_EQ(seen.size(), 88U);
}

TEST_F(DispatchTest, NamesAreComparedExactly) {
  for (const char* name :
       {"", "OPEN", "Open", "open ", " open", "opened", "ope", "hyperGetVarRecordData"}) {
    const Raised expected = {"VORLAN:tarvik:invalidOperation",
                             std::string("Unrecognized operation:  \"") + name + "\"."};
    EXPECT_EQ(raisedWith(name, {}), expected);
  }
}

TEST_F(DispatchTest, TheFirstArgumentNamesTheOperation) {
  const auto refusal = [this](const std::vector<const vlArray*>& arguments) -> Raised {
    try {
      gateway().call(arguments, 1);
    } catch (const vlhost::Error& error) {
      return {error.identifier(), error.what()};
    }
    return {};
  };
  const Raised none = {"VORLAN:tarvik:tooFewArguments",
                       "Must provide at least one input argument."};
  EXPECT_EQ(refusal({}), none);
  const Raised notText = {"VORLAN:tarvik:firstArgNotChar",
                          "First argument must be a function string."};
  for (const vlClassID id : {vlDOUBLE_CLASS, vlCELL_CLASS, vlLOGICAL_CLASS, vlUINT16_CLASS}) {
    EXPECT_EQ(refusal({oneOf(id).get()}), notText);
  }
  // Any shape of a name will do.
  const Array column = chars({11, 1}, u"getValidate");
  EXPECT_EQ(gateway().call({column.get()}, 1).outputs.size(), 1U);
}

TEST_F(DispatchTest, AllOutputsAreStoredWhateverWasAskedFor) {
  const Array name = vlhost::text("getLibraryVersion");
  for (const int asked : {0, 1, 2, 3, 8}) {
    const auto given = static_cast<std::size_t>(std::clamp(asked, 1, 3));
    EXPECT_EQ(gateway().call({name.get()}, asked).outputs.size(), given);
  }
}

}  // namespace
