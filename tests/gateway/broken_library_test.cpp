// What only a broken file or library can cause.
#include "tests/gateway/broken_library.h"

#include <algorithm>

#include "cdf/library.h"
#include "tests/gateway/recording.h"
#include "tests/gateway/samples.h"

namespace {

using namespace tarvik;  // the library's items
using broken::Answer;
using broken::Answering;

Answer give(long item, long value, std::size_t place = 1) {
  return {item, 0, value, place};
}

class BrokenLibraryTest : public SamplesTest {
 protected:
  void SetUp() override {
    SamplesTest::SetUp();
    openFiles();
  }
  void TearDown() override {
    closeFiles();
    SamplesTest::TearDown();
  }

  Raised raisedBy(const std::string& operation) {
    const std::vector<Sample> all = samples();
    return raisedWith(operation, std::find_if(all.begin(), all.end(), [&](const Sample& sample) {
                                   return sample.operation == operation;
                                 })->inputs);
  }

  /// Closes the files that the answer has kept the gateway from closing.
  static void closeInLibrary() {
    for (void* file : Answering::files()) EXPECT_EQ(cdf::onFile(file, CLOSE_, CDF_), 0);
  }
};

// A close or delete that fails leaves the file registered, but the library has freed the handle.
TEST_F(BrokenLibraryTest, HandlesThatTheLibraryLetGoOfDoNotReachItAgain) {
  constexpr long BAD_CDF_ID = -2002, CDF_CLOSE_ERROR = -2055, VAR_DELETE_ERROR = -2089;
  for (const File file : {file_, empty_}) {
    call("setChecksum", file, 2.0);
    EXPECT_EQ(raised("close", file), failureOf("close", CDF_CLOSE_ERROR));
  }
  std::filesystem::remove(path("multi.z0"));
  EXPECT_EQ(raised("delete", multi_), failureOf("delete", VAR_DELETE_ERROR));
  broken::received.clear();
  for (const Row& row : rows_) {
    const Inputs inputs = inputsFrom(row.inputs);
    if (inputs.empty() || vlGetClassID(inputs[0].array) != vlUINT64_CLASS) continue;
    EXPECT_EQ(raisedWith(row.operation, inputs),
              failureOf(row.operation, BAD_CDF_ID, row.calls.at(0).tag));
  }
  EXPECT_EQ(gateway().unload().size(), 1U);
  for (const File file : {file_, empty_, multi_}) {
    EXPECT_EQ(broken::received.count(handleOf(file)), 0U);
  }
}

TEST_F(BrokenLibraryTest, TheFirstIllegalEpochEndsTheCall) {
  List components(20, 1);
  components[0] = -1;
  const broken::Recording recording({});
  EXPECT_EQ(raised("computeEpoch16", components).identifier,
            "VORLAN:tarvik:computeEpoch16:illegalEpochValue");
  EXPECT_EQ(recording.calls().size(), 1U);
}

// Some deletes fail and leave the file open.
TEST_F(BrokenLibraryTest, HandlesThatTheLibraryKeptAreKept) {
  call("setReadOnlyMode", file_, -1.0);
  constexpr long READ_ONLY_MODE = -2070;
  EXPECT_EQ(raised("delete", file_), failureOf("delete", READ_ONLY_MODE));
  call("setReadOnlyMode", file_, 0.0);
  call("delete", file_);
  // One whose file is gone can only be closed.
  constexpr long CDF_OPEN_ERROR = -2012, NO_MORE_ACCESS = -2077;
  std::filesystem::remove(path("empty.cdf"));
  EXPECT_EQ(raised("delete", empty_), failureOf("delete", CDF_OPEN_ERROR));
  EXPECT_EQ(raised("inquire", empty_), failureOf("inquire", NO_MORE_ACCESS));
  EXPECT_EQ(raised("delete", empty_), failureOf("delete", NO_MORE_ACCESS));
  close(empty_);
}

TEST_F(BrokenLibraryTest, APositiveStatusIsSuccess) {
  closeFiles();
  for (std::size_t i = 0; i < samples().size(); ++i) {
    const auto outputsNow = [&] {
      openFiles();
      const Sample sample = samples()[i];
      SCOPED_TRACE(sample.operation);
      std::vector<std::string> result;
      for (const Array& output : callWith(sample.operation, sample.inputs)) {
        if (opensAFile(sample)) {
          close({valuesOf<std::uint64_t>(output).at(0)});
        } else {
          result.push_back(shown(output));
        }
      }
      EXPECT_TRUE(warnings().empty());
      closeFiles();
      return result;
    };
    const std::vector<std::string> usual = outputsNow();
    const Answering answering({CDF_, 1});
    EXPECT_EQ(outputsNow(), usual);
  }
}

TEST_F(BrokenLibraryTest, AStatusWithoutATextIsAFailureToo) {
  const Answering answering({STATUS_TEXT_, -2035});
  EXPECT_EQ(raised("getVarName", file_, 9.0).message, "CDF library failure, \"\".");
}

const std::string noScope = "packUpScope:unhandledScope", noVariance = "packUpVariance:failure",
                  putScope = "putAttrEntry:unrecognizedScope",
                  noDatatype = "mapCdfDatatypeToVorlan:unknownDatatype";

const struct UnknownCode {
  const char* operation;
  long item;
  std::vector<long> codes;
  std::string identifier;  ///< Behind "VORLAN:tarvik:"; with a colon first, behind the operation.
  std::string message;     ///< # stands for the code.
} unknownCodes[] = {
    // clang-format off
    {"inquire", CDF_ENCODING_, {0, 10, 17, -1}, "inquireCDF:unknownEncoding",
     "Unrecognized encoding value #."},
    {"inquire", CDF_MAJORITY_, {0, 3}, "inquireCDF:unrecognizedMajority",
     "Unrecognized majority value #."},
    {"getMajority", CDF_MAJORITY_, {0, 3}, ":unrecognizedMajority",
     "The majority value # is not recognized."},
    {"getFormat", CDF_FORMAT_, {0, 3}, ":unrecognizedFormat",
     "The format value # is not recognized."},
    {"getReadOnlyMode", CDF_READONLY_MODE_, {1, -2}, ":unrecognizedMode",
     "The mode value # is not recognized."},
    {"getChecksum", CDF_CHECKSUM_, {-1, 3}, ":unrecognizedChecksum",
     "The checksum value # is not recognized."},
    {"getCompression", CDF_COMPRESSION_, {-1, 4, 6}, ":unhandledCompressionType",
     "The compression type value # is not recognized."},
    {"getVarCompression", zVAR_COMPRESSION_, {-1, 4, 6}, ":unhandledCompressionType",
     "The compression type value # is not recognized."},
    {"getVarSparseRecords", zVAR_SPARSERECORDS_, {-1, 3}, ":badType",
     "# is not a recognized sparse records type."},
    {"getAttrScope", ATTR_SCOPE_, {0, 3, 4}, noScope, "The scope value # is not recognized."},
    {"inquireAttr", broken::inquireAttr, {0, 3}, noScope, "The scope value # is not recognized."},
    {"putAttrEntry", ATTR_SCOPE_, {0, 3}, putScope,
     "Attribute number 1 has an unrecognized scope value of #."},
    {"putAttrgEntry", ATTR_SCOPE_, {0, 3}, putScope,
     "Attribute number 0 has an unrecognized scope value of #."},
    {"getAttrgEntry", broken::inquireAttrEntry, {-1}, ":badCount",
     "The requested counts do not describe a valid number of elements."},
    {"inquireVar", zVAR_RECVARY_, {1, -2}, noVariance, "Unhandled variance value, \"#\"."},
    {"inquireVar", zVAR_DIMVARYS_, {1, -2}, noVariance, "Unhandled variance value, \"#\"."},
    {"inquireVar", zVAR_DATATYPE_, {33, 53}, "packUpDatatype:unhandledDatatype",
     "Unhandled datatype #."},
    {"getVarPadValue", zVAR_DATATYPE_, {0, 33}, noDatatype,
     "# is not a recognized enumerated CDF datatype value."},
    {"setVarPadValue", zVAR_DATATYPE_, {0, 33}, noDatatype,
     "# is not a recognized enumerated CDF datatype value."},
    {"getValidate", broken::getValidate, {-1, 2}, ":unrecognizedMode",
     "Encountered unhandled file validation mode \"#\"."},
    // clang-format on
};

TEST_F(BrokenLibraryTest, CodesThatNoTableHolds) {
  for (const UnknownCode& row : unknownCodes) {
    const std::string owner = row.identifier[0] == ':' ? row.operation : "";
    for (const long code : row.codes) {
      const Answering answering(give(row.item, code));
      std::string message = row.message;
      const std::size_t mark = message.find('#');
      if (mark != std::string::npos) message.replace(mark, 1, std::to_string(code));
      EXPECT_EQ(raisedBy(row.operation),
                (Raised{"VORLAN:tarvik:" + owner + row.identifier, message}));
    }
  }
}

// Their names are those of the named constants in another case.
TEST_F(BrokenLibraryTest, EveryEncodingHasItsName) {
  const char* const names[] = {
      "NETWORK", "SUN",   "VAX", "DECSTATION", "SGi",       "IBMPC",     "IBMRS",     "HOST",
      "MAC",     nullptr, "HP",  "NeXT",       "ALPHAOSF1", "ALPHAVMSd", "ALPHAVMSg", "ALPHAVMSi",
  };
  for (std::size_t i = 0; i < std::size(names); ++i) {
    if (names[i] == nullptr) continue;
    const Answering answering(give(CDF_ENCODING_, static_cast<long>(i) + 1));
    const std::string name = std::string(names[i]) + "_ENCODING";
    EXPECT_EQ(textOf(call("inquire", file_).at(0)), name);
    EXPECT_EQ(numberOf(call("getConstantValue", name).at(0)), static_cast<double>(i + 1));
  }
  const Answering answering(give(CDF_CHECKSUM_, 2));
  EXPECT_EQ(textOf(call("getChecksum", file_).at(0)), "OTHER_CHECKSUM");
}

// A variable's compression warns of a parameter that it has no name for; a file's does not look.
TEST_F(BrokenLibraryTest, ParametersOfCompressionThatHaveNoName) {
  const struct {
    double type;
    std::string tag;
    std::string name;
    const char* fileParameter;
  } rows[] = {{1, "Rle", "RLE", "RLE_OF_ZEROS"},
              {2, "Huff", "HUFF", "OPTIMAL_ENCODING_TREES"},
              {3, "AHuff", "AHUFF", "OPTIMAL_ENCODING_TREES"},
              {5, "", "", nullptr}};
  const double bare = 3;  // without records
  for (const auto& row : rows) {
    call("setVarCompression", file_, bare, row.type, row.type == 5 ? 6.0 : 0.0);
    {
      const Answering answering(give(zVAR_COMPRESSION_, 77, 2));
      EXPECT_EQ(numberOf(call("getVarCompression", file_, bare).at(1)), 77);
      ASSERT_EQ(warnings().size(), row.type == 5 ? 0U : 1U);
    }
    if (row.type == 5) continue;
    EXPECT_EQ(
        (Raised{warnings()[0].identifier, warnings()[0].message}),
        (Raised{"VORLAN:tarvik:getVarCompression:unrecognized" + row.tag + "CompressionParameter",
                "77 is an unhandled " + row.name + "_COMPRESSION parameter setting."}));
    call("setCompression", empty_, row.type, 0.0);
    const Answering answering(give(CDF_COMPRESSION_, 7, 2));
    EXPECT_EQ(textOf(call("getCompression", empty_).at(1)), row.fileParameter);
    EXPECT_TRUE(warnings().empty());
  }
}

TEST_F(BrokenLibraryTest, AFileWhoseModeCannotBeSetIsNotHandedOut) {
  closeFiles();
  const std::string failure = failureOf("", -2234).message;
  {
    const Answering answering({CDF_zMODE_, -2234});
    EXPECT_EQ(raised("open", path("file")),
              (Raised{"VORLAN:tarvik:open:unableToSetzMode2",
                      "Unable to set zMode to zMODEon2" + failure.substr(failure.find(','))}));
  }
  EXPECT_TRUE(gateway().unload().empty());
  closeInLibrary();
}

TEST_F(BrokenLibraryTest, TheEndClosesEveryFileWhateverTheLibrarySays) {
  {
    const Answering answering({CLOSE_, -2055});
    const std::vector<vlhost::Warning> atTheEnd = gateway().unload();
    ASSERT_EQ(atTheEnd.size(), 1U);
    EXPECT_EQ(atTheEnd[0].identifier, "VORLAN:tarvik:closingFileHandle");
    EXPECT_EQ(atTheEnd[0].message, "Closing open CDF file handles.");
  }
  const std::vector<void*>& closed = Answering::files();
  EXPECT_EQ(closed.size(), 3U);
  EXPECT_TRUE(std::is_sorted(closed.begin(), closed.end()));
  closeInLibrary();
}

}  // namespace
