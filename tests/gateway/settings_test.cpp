// Settings of files and variables: set, read back, and read back again once the file was closed and
// opened, in both formats and majorities.
#include "tests/gateway/gateway_test.h"
#include "tests/gateway/statuses.h"

namespace {

struct Layout {
  double format;
  double majority;
};
constexpr Layout layouts[] = {{1, 1}, {1, 2}, {2, 1}, {2, 2}};

std::string nameOf(const Layout& layout) {
  return "f" + std::to_string(static_cast<int>(layout.format)) + "m" +
         std::to_string(static_cast<int>(layout.majority));
}

class SettingsTest : public GatewayTest {
 protected:
  /// A file with one variable, number 0, of three-by-two integers.
  File createFile(const Layout& layout) {
    const File file = create(nameOf(layout));
    call("setFormat", file, layout.format);
    call("setMajority", file, layout.majority);
    createVar(file, "v", 4, 1, {3, 2});
    return file;
  }

  /// Record `record` of variable 0, all elements the same.
  void writeRecord(File file, double record, std::int32_t value) {
    call("putVarRecordData", file, 0.0, record,
         numbers<std::int32_t>({3, 2}, std::vector<std::int32_t>(6, value)));
  }
  std::int32_t readValue(File file, double record) {
    return valuesOf<std::int32_t>(call("getVarData", file, 0.0, record, List{0, 0}).at(0)).at(0);
  }

  std::string got(const char* operation, const Inputs& inputs) {
    const Array output = std::move(callWith(operation, inputs).at(0));
    const std::string text = shown(output);
    return text.substr(text.find(": ") + 2);
  }
};

enum Where { everywhere, singleFile, multiFile };

/// After the file is opened again a setting is as it was set, or as in a file just opened.
struct Setting {
  const char* set;
  List inputs;  ///< Behind the file, the variable's number first where there is one.
  const char* get;
  const char* expected;
  bool stays;
  Where where;
};

const Setting settings[] = {
    {"setReadOnlyMode", {0}, "getReadOnlyMode", "READONLYoff", true, everywhere},
    {"setChecksum", {1}, "getChecksum", "MD5_CHECKSUM", true, singleFile},
    {"setCacheSize", {7}, "getCacheSize", "7", false, everywhere},
    {"setStageCacheSize", {8}, "getStageCacheSize", "8", false, everywhere},
    {"setCompressionCacheSize", {9}, "getCompressionCacheSize", "9", false, everywhere},
    {"setVarCacheSize", {0, 4}, "getVarCacheSize", "4", false, multiFile},
    {"setVarsCacheSize", {3}, "getVarCacheSize", "3", false, multiFile},
    {"setVarBlockingFactor", {0, 5}, "getVarBlockingFactor", "5", true, everywhere},
    {"setVarSparseRecords", {0, 1}, "getVarSparseRecords", "PAD_SPARSERECORDS", true, singleFile},
    {"setVarSparseRecords", {0, 2}, "getVarSparseRecords", "PREV_SPARSERECORDS", true, singleFile},
    {"setVarSparseRecords", {0, 0}, "getVarSparseRecords", "NO_SPARSERECORDS", true, singleFile},
    {"setVarInitialRecs", {0, 4}, "getVarNumRecsWritten", "4", true, everywhere},
    {"setVarInitialRecs", {0, 4}, "getVarMaxWrittenRecNum", "3", true, everywhere},
    {"setVarAllocBlockRecords", {0, 2, 5}, "getVarAllocRecords", "6", true, singleFile},
    {"setVarAllocBlockRecords", {0, 2, 5}, "getVarMaxAllocRecNum", "5", true, singleFile},
    {"setVarAllocBlockRecords", {0, 2, 5}, "getVarMaxWrittenRecNum", "-1", true, singleFile},
};

TEST_F(SettingsTest, AreReadBackAndThoseOfTheFileStay) {
  for (const Layout& layout : layouts) {
    const Where here = layout.format == 1 ? singleFile : multiFile;
    for (const Setting& row : settings) {
      if (row.where != everywhere && row.where != here) continue;
      SCOPED_TRACE(nameOf(layout) + " " + row.set + " " + row.get);
      const bool ofVariable = std::string(row.get).rfind("getVar", 0) == 0;
      const List asked = ofVariable ? List{0} : List{};

      close(createFile(layout));
      File file = open(nameOf(layout));
      const std::string initial = got(row.get, fileAnd(file, asked));
      EXPECT_TRUE(callWith(row.set, fileAnd(file, row.inputs)).empty());
      EXPECT_EQ(got(row.get, fileAnd(file, asked)), row.expected);
      close(file);
      file = open(nameOf(layout));
      EXPECT_EQ(got(row.get, fileAnd(file, asked)), row.stays ? row.expected : initial);
      EXPECT_EQ(got("getFormat", fileAnd(file, {})),
                here == singleFile ? "SINGLE_FILE" : "MULTI_FILE");
      EXPECT_EQ(got("getMajority", fileAnd(file, {})),
                layout.majority == 1 ? "ROW_MAJOR" : "COLUMN_MAJOR");
      EXPECT_TRUE(call("delete", file).empty());
    }
  }
}

TEST_F(SettingsTest, AReadOnlyFileRefusesToBeWritten) {
  close(createFile({1, 1}));
  const File file = open(nameOf({1, 1}));
  call("setReadOnlyMode", file, -1.0);
  EXPECT_EQ(got("getReadOnlyMode", fileAnd(file, {})), "READONLYon");
  EXPECT_EQ(raised("createAttr", file, "a", 1.0), failureOf("createAttr", READ_ONLY_MODE));
  close(file);
}

TEST_F(SettingsTest, ReservePercentIsOfCompressedVariables) {
  const File file = createFile({1, 1});
  EXPECT_EQ(raised("setVarReservePercent", file, 0.0, 30.0),
            failureOf("setVarReservePercent", NA_FOR_VARIABLE));
  EXPECT_EQ(raised("getVarReservePercent", file, 0.0),
            failureOf("getVarReservePercent", NA_FOR_VARIABLE));
  call("setVarCompression", file, 0.0, 1.0);
  call("setVarReservePercent", file, 0.0, 30.0);
  EXPECT_EQ(got("getVarReservePercent", fileAnd(file, {0})), "30");
  close(file);
}

TEST_F(SettingsTest, DeletedRecordsCloseUp) {
  for (const Layout& layout : {layouts[0], layouts[1]}) {
    const File file = createFile(layout);
    for (const int record : {0, 1, 2, 3, 4}) writeRecord(file, record, 10 + record);
    call("deleteVarRecords", file, 0.0, 1.0, 2.0);
    EXPECT_EQ(got("getVarNumRecsWritten", fileAnd(file, {0})), "3");
    EXPECT_EQ(got("getVarMaxWrittenRecNum", fileAnd(file, {0})), "2");
    EXPECT_EQ(readValue(file, 0), 10);
    EXPECT_EQ(readValue(file, 1), 13);
    EXPECT_EQ(raised("deleteVarRecords", file, 0.0, 2.0, 1.0),
              failureOf("deleteVarRecords", BAD_REC_NUM));
    close(file);
  }
}

// Of a variable with sparse records only those written count; the others are made up in reading.
TEST_F(SettingsTest, SparseRecordsAreMadeUp) {
  const struct {
    double code;
    std::int32_t unwritten;
    const char* written;
  } rows[] = {{0, -5, "4"}, {1, -5, "2"}, {2, 10, "2"}};
  for (const auto& row : rows) {
    File file = createFile({1, 2});
    call("setVarPadValue", file, 0.0, ::row<std::int32_t>({-5}));
    call("setVarSparseRecords", file, 0.0, row.code);
    writeRecord(file, 0, 10);
    writeRecord(file, 3, 13);
    close(file);
    file = open(nameOf({1, 2}));
    EXPECT_EQ(readValue(file, 1), row.unwritten) << row.code;
    EXPECT_EQ(readValue(file, 3), 13);
    EXPECT_EQ(got("getVarNumRecsWritten", fileAnd(file, {0})), row.written);
    call("delete", file);
  }
}

TEST_F(SettingsTest, CacheSizesThatTheGatewayRefuses) {
  const Raised setting{
      "VORLAN:tarvik:setVarCacheSizeNotAppropriateForSingleFileFormat",
      "Setting the variable cache size is not an appropriate operation in single-file CDFs."};
  const Raised getting{
      "VORLAN:tarvik:getVarCacheSizeNotAppropriateForSingleFileFormat",
      "Retrieving the variable cache size is not an appropriate operation in single-file CDFs."};
  const File file = createFile({1, 1});
  // Before the variable is looked for, and after all inputs were converted.
  for (const double number : {0.0, 99.0}) {
    EXPECT_EQ(raised("setVarCacheSize", file, number, 4.0), setting);
    EXPECT_EQ(raised("getVarCacheSize", file, number), getting);
  }
  EXPECT_EQ(raised("setVarCacheSize", file, 0.0, "4").identifier,
            "VORLAN:tarvik:unpackLongScalar:argumentNotDoubleScalar");
  EXPECT_TRUE(call("setVarsCacheSize", file, 4.0).empty());
  for (const char* operation : {"setCacheSize", "setStageCacheSize"}) {
    EXPECT_EQ(raised(operation, file, 0.0),
              (Raised{std::string("VORLAN:tarvik:") + operation + ":zeroCacheSize",
                      "Cache size cannot be zero."}));
    EXPECT_EQ(raised(operation, file, 0.9).message, "Cache size cannot be zero.");
  }
  EXPECT_TRUE(call("setCompressionCacheSize", file, 0.0).empty());
  close(file);
}

TEST_F(SettingsTest, TheLibraryJudgesTheRest) {
  const struct {
    const char* operation;
    List inputs;
    long status;
    Where where;
  } rows[] = {
      {"setFormat", {3}, BAD_FORMAT, everywhere},
      {"setMajority", {3}, BAD_MAJORITY, everywhere},
      {"setReadOnlyMode", {5}, BAD_READONLY_MODE, everywhere},
      {"setChecksum", {3}, BAD_CHECKSUM, singleFile},
      {"setChecksum", {1}, CANNOT_CHANGE, multiFile},
      {"setCacheSize", {-1}, BAD_CACHE_SIZE, everywhere},
      {"setStageCacheSize", {-1}, BAD_CACHE_SIZE, everywhere},
      {"setCompressionCacheSize", {-1}, BAD_CACHE_SIZE, everywhere},
      {"setVarsCacheSize", {-1}, BAD_CACHE_SIZE, multiFile},
      {"setVarCacheSize", {0, -1}, BAD_CACHE_SIZE, multiFile},
      {"setVarCacheSize", {9, 1}, NO_SUCH_VAR, multiFile},
      {"getVarCacheSize", {9}, NO_SUCH_VAR, multiFile},
      {"setVarSparseRecords", {0, 3}, UNKNOWN_SPARSENESS, singleFile},
      {"setVarSparseRecords", {0, 1}, CANNOT_SPARSERECORDS, multiFile},
      {"setVarBlockingFactor", {0, -1}, BAD_BLOCKING_FACTOR, everywhere},
      {"setVarInitialRecs", {0, -1}, BAD_INITIAL_RECS, everywhere},
      {"setVarAllocBlockRecords", {0, 5, 2}, BAD_ALLOCATE_RECS, singleFile},
      {"setVarAllocBlockRecords", {0, 0, 2147483647}, BAD_ALLOCATE_RECS, everywhere},
  };
  for (const Layout& layout : layouts) {
    const File file = createFile(layout);
    const Where here = layout.format == 1 ? singleFile : multiFile;
    for (const auto& row : rows) {
      if (row.where != everywhere && row.where != here) continue;
      EXPECT_EQ(raisedWith(row.operation, fileAnd(file, row.inputs)),
                failureOf(row.operation, row.status));
    }
    for (const char* getter : {"getVarNumRecsWritten", "getVarMaxWrittenRecNum",
                               "getVarMaxAllocRecNum", "getVarBlockingFactor", "getVarAllocRecords",
                               "getVarReservePercent", "getVarSparseRecords"}) {
      EXPECT_EQ(raised(getter, file, 9.0), failureOf(getter, NO_SUCH_VAR));
    }
    close(file);
  }
}

}  // namespace
