// Settings of files and variables: set, read back, and read back again once the file was closed and
// opened, in both formats and majorities.
#include "tests/gateway/gateway_test.h"
#include "tests/gateway/statuses.h"

namespace {

class SettingsTest : public GatewayTest {
 protected:
  /// A file with one variable, number 0, of three-by-two integers.
  File createFile(double format, double majority) {
    const File file = create("f");
    call("setFormat", file, format);
    call("setMajority", file, majority);
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

  std::string got(const char* operation, File file, const List& inputs = {}) {
    const std::string text = shown(callWith(operation, fileAnd(file, inputs)).at(0));
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
  for (const int layout : {0, 1, 2, 3}) {
    const double format = layout < 2 ? 1 : 2;
    const double majority = 1 + layout % 2;
    for (const Setting& row : settings) {
      if (row.where == (format == 1 ? multiFile : singleFile)) continue;
      SCOPED_TRACE(std::to_string(layout) + " " + row.set + " " + row.get);
      const List asked = std::string(row.get).rfind("getVar", 0) == 0 ? List{0} : List{};

      close(createFile(format, majority));
      File file = open("f");
      const std::string initial = got(row.get, file, asked);
      EXPECT_TRUE(callWith(row.set, fileAnd(file, row.inputs)).empty());
      EXPECT_EQ(got(row.get, file, asked), row.expected);
      close(file);
      file = open("f");
      EXPECT_EQ(got(row.get, file, asked), row.stays ? row.expected : initial);
      EXPECT_EQ(got("getFormat", file), format == 1 ? "SINGLE_FILE" : "MULTI_FILE");
      EXPECT_EQ(got("getMajority", file), majority == 1 ? "ROW_MAJOR" : "COLUMN_MAJOR");
      EXPECT_TRUE(call("delete", file).empty());
    }
  }
}

TEST_F(SettingsTest, CompressionIsShownAndReadBack) {
  const std::string trees = "char 1x22: OPTIMAL_ENCODING_TREES";
  const std::string ofFileZeros = "char 1x12: RLE_OF_ZEROS", zeros = "char 1x12: RLE_OF_ZEROs";
  const struct {
    List inputs;
    const char* name;
    std::string ofFile, ofVariable;  ///< The parameter.
  } rows[] = {{{0}, "NO_COMPRESSION", "double 0x0:", "double 0x0:"},
              {{0, 0}, "NO_COMPRESSION", "double 0x0:", "double 0x0:"},
              {{1}, "RLE_COMPRESSION", ofFileZeros, zeros},
              {{1, 0}, "RLE_COMPRESSION", ofFileZeros, zeros},
              {{2}, "HUFF_COMPRESSION", trees, trees},
              {{2, 0}, "HUFF_COMPRESSION", trees, trees},
              {{3}, "AHUFF_COMPRESSION", trees, trees},
              {{3, 0}, "AHUFF_COMPRESSION", trees, trees},
              {{5, 1}, "GZIP_COMPRESSION", "double 1x1: 1", "double 1x1: 1"},
              {{5, 9}, "GZIP_COMPRESSION", "double 1x1: 9", "double 1x1: 9"}};
  std::vector<std::int32_t> values(4800);
  for (std::size_t i = 0; i < values.size(); i += 7) values[i] = static_cast<std::int32_t>(i);
  const List extents = {40, 30, 4};
  for (const bool ofFile : {true, false}) {
    for (const auto& row : rows) {
      SCOPED_TRACE(row.name);
      List inputs = row.inputs;
      if (!ofFile) inputs.insert(inputs.begin(), 0);
      File file = create("a");
      if (!ofFile) createVar(file, "v", 4, 1, extents);
      EXPECT_TRUE(
          callWith(ofFile ? "setCompression" : "setVarCompression", fileAnd(file, inputs)).empty());
      if (ofFile) createVar(file, "v", 4, 1, extents);
      call("putVarRecordData", file, 0.0, 0.0, ::row(values));
      close(file);

      file = open("a");
      const auto outputs =
          ofFile ? call("getCompression", file) : call("getVarCompression", file, 0.0);
      ASSERT_EQ(outputs.size(), 3U);
      EXPECT_EQ(textOf(outputs[0]), row.name);
      EXPECT_EQ(shown(outputs[1]), ofFile ? row.ofFile : row.ofVariable);
      const double percentage = numberOf(outputs[2]);
      EXPECT_TRUE(row.inputs[0] == 0 ? percentage == 100 : percentage > 0 && percentage < 90);
      EXPECT_EQ(valuesOf<std::int32_t>(call("getVarRecordData", file, 0.0, 0.0).at(0)), values);
      call("delete", file);
    }
  }
}

TEST_F(SettingsTest, DeletedRecordsCloseUp) {
  const File file = createFile(1, 1);
  for (const int record : {0, 1, 2, 3, 4}) writeRecord(file, record, 10 + record);
  call("deleteVarRecords", file, 0.0, 1.0, 2.0);
  EXPECT_EQ(got("getVarNumRecsWritten", file, {0}), "3");
  EXPECT_EQ(got("getVarMaxWrittenRecNum", file, {0}), "2");
  EXPECT_EQ(readValue(file, 0), 10);
  EXPECT_EQ(readValue(file, 1), 13);
  close(file);
}

// Of a variable with sparse records only those written count; the others are made up in reading.
TEST_F(SettingsTest, SparseRecordsAreMadeUp) {
  const struct {
    double code;
    std::int32_t unwritten;
    const char* written;
  } rows[] = {{0, -5, "4"}, {1, -5, "2"}, {2, 10, "2"}};
  for (const auto& row : rows) {
    const File file = createFile(1, 2);
    call("setVarPadValue", file, 0.0, ::row<std::int32_t>({-5}));
    call("setVarSparseRecords", file, 0.0, row.code);
    writeRecord(file, 0, 10);
    writeRecord(file, 3, 13);
    EXPECT_EQ(readValue(file, 1), row.unwritten) << row.code;
    EXPECT_EQ(readValue(file, 3), 13);
    EXPECT_EQ(got("getVarNumRecsWritten", file, {0}), row.written);
    call("delete", file);
  }
}

struct BadSetting {
  const char* operation;
  List inputs;  ///< Behind the file.
  Where where;
  Raised raised;
  BadSetting(const char* name, List given, Where place, long status)
      : BadSetting(name, std::move(given), place, failureOf(name, status)) {}
  BadSetting(const char* name, List given, Where place, Raised error)
      : operation(name), inputs(std::move(given)), where(place), raised(std::move(error)) {}
};

TEST_F(SettingsTest, Refusals) {
  const auto noCache = [](const std::string& tag, const std::string& doing) {
    return vorlan(tag + "NotAppropriateForSingleFileFormat",
                  doing +
                      " the variable cache size is not an appropriate operation in "
                      "single-file CDFs.");
  };
  const auto noLevel =
      vorlan("unspecifiedGzipCompressionLevel",
             "When specifying GZIP_COMPRESSION, a compression level must also be supplied.");
  const auto badType = [](const std::string& type) {
    return vorlan("setCompression:unrecognizedCompressionType",
                  "Unrecognized compression type \"" + type + "\".");
  };
  const auto badLevel = [](const std::string& level) {
    return vorlan("setCompression:badGzipLevel", "The gzip compression level was specified as " +
                                                     level + ", but it must be between 1 and 9.");
  };
  const std::string zero = "Cache size cannot be zero.";
  const BadSetting rows[] = {
      // Before the variable is looked for.
      {"setVarCacheSize", {99, 4}, singleFile, noCache("setVarCacheSize", "Setting")},
      {"getVarCacheSize", {99}, singleFile, noCache("getVarCacheSize", "Retrieving")},
      {"setCacheSize", {0}, everywhere, vorlan("setCacheSize:zeroCacheSize", zero)},
      {"setStageCacheSize", {0.9}, everywhere, vorlan("setStageCacheSize:zeroCacheSize", zero)},
      {"setFormat", {3}, everywhere, BAD_FORMAT},
      {"setMajority", {3}, everywhere, BAD_MAJORITY},
      {"setReadOnlyMode", {5}, everywhere, BAD_READONLY_MODE},
      {"setChecksum", {3}, singleFile, BAD_CHECKSUM},
      {"setChecksum", {1}, multiFile, CANNOT_CHANGE},
      {"setCacheSize", {-1}, everywhere, BAD_CACHE_SIZE},
      {"setStageCacheSize", {-1}, everywhere, BAD_CACHE_SIZE},
      {"setCompressionCacheSize", {-1}, everywhere, BAD_CACHE_SIZE},
      {"setVarsCacheSize", {-1}, multiFile, BAD_CACHE_SIZE},
      {"setVarCacheSize", {0, -1}, multiFile, BAD_CACHE_SIZE},
      {"getVarCacheSize", {9}, multiFile, NO_SUCH_VAR},
      {"setVarSparseRecords", {0, 3}, singleFile, UNKNOWN_SPARSENESS},
      {"setVarSparseRecords", {0, 1}, multiFile, CANNOT_SPARSERECORDS},
      {"setVarBlockingFactor", {0, -1}, everywhere, BAD_BLOCKING_FACTOR},
      {"setVarInitialRecs", {0, -1}, everywhere, BAD_INITIAL_RECS},
      {"setVarAllocBlockRecords", {0, 5, 2}, singleFile, BAD_ALLOCATE_RECS},
      {"setVarAllocBlockRecords", {0, 0, 2147483647}, everywhere, BAD_ALLOCATE_RECS},
      {"setVarReservePercent", {0, 30}, singleFile, NA_FOR_VARIABLE},
      {"getVarReservePercent", {0}, singleFile, NA_FOR_VARIABLE},
      {"deleteVarRecords", {0, 2, 1}, singleFile, BAD_REC_NUM},
      {"getVarNumRecsWritten", {9}, everywhere, NO_SUCH_VAR},
      {"getVarBlockingFactor", {9}, everywhere, NO_SUCH_VAR},

      {"setCompression", {5}, singleFile, noLevel},
      {"setCompression", {4}, singleFile, badType("4")},
      {"setCompression", {6}, singleFile, badType("6")},
      {"setCompression", {5, 0}, singleFile, badLevel("0")},
      {"setCompression", {5, 10}, singleFile, badLevel("10")},
      {"setCompression", {5, -6}, singleFile, badLevel("-6")},
      {"setCompression", {4, 0}, singleFile, UNKNOWN_COMPRESSION},
      {"setCompression", {1, 7}, singleFile, BAD_COMPRESSION_PARM},
      {"setCompression", {1}, multiFile, CANNOT_COMPRESS},
      {"setVarCompression", {0, 5}, singleFile, noLevel},
      {"setVarCompression", {0, -1}, singleFile, badType("-1")},
      {"setVarCompression", {0, 7, 0}, singleFile, UNKNOWN_COMPRESSION},
      {"setVarCompression", {0, 5, 12}, singleFile, BAD_COMPRESSION_PARM},
      {"setVarCompression", {9, 5, 6}, singleFile, NO_SUCH_VAR},
      {"setVarCompression", {0, 1}, multiFile, CANNOT_COMPRESS},
      {"getVarCompression", {9}, singleFile, NO_SUCH_VAR},
  };
  for (const double format : {1.0, 2.0}) {
    File file = createFile(format, 1);
    for (const BadSetting& row : rows) {
      if (row.where == (format == 1 ? multiFile : singleFile)) continue;
      EXPECT_EQ(raisedWith(row.operation, fileAnd(file, row.inputs)), row.raised) << row.operation;
    }
    EXPECT_EQ(got("getCompression", file), "NO_COMPRESSION");
    EXPECT_TRUE(call("setVarsCacheSize", file, 4.0).empty());
    EXPECT_TRUE(call("setCompressionCacheSize", file, 0.0).empty());
    if (format == 1) {
      call("setVarCompression", file, 0.0, 1.0);
      call("setVarReservePercent", file, 0.0, 30.0);
      EXPECT_EQ(got("getVarReservePercent", file, {0}), "30");
    }
    close(file);
    file = open("f");
    call("setReadOnlyMode", file, -1.0);
    EXPECT_EQ(got("getReadOnlyMode", file), "READONLYon");
    EXPECT_EQ(raised("createAttr", file, "a", 1.0), failureOf("createAttr", READ_ONLY_MODE));
    close(file);
    call("delete", open("f"));
  }
}

}  // namespace
