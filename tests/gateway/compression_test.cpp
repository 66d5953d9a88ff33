// The compression of files and of variables.
#include <optional>

#include "tests/gateway/gateway_test.h"
#include "tests/gateway/statuses.h"

namespace {

/// One kind of compression and how it is shown.
struct Kind {
  double type;
  std::optional<double> parameter;
  const char* name;
  std::string fileParameter;
  std::string variableParameter;
};

std::vector<Kind> everyKind() {
  const std::string trees = "char 1x22: OPTIMAL_ENCODING_TREES";
  std::vector<Kind> kinds;
  for (const std::optional<double> parameter : {std::optional<double>(), std::optional(0.0)}) {
    kinds.push_back({0, parameter, "NO_COMPRESSION", "double 0x0:", "double 0x0:"});
    kinds.push_back(
        {1, parameter, "RLE_COMPRESSION", "char 1x12: RLE_OF_ZEROS", "char 1x12: RLE_OF_ZEROs"});
    kinds.push_back({2, parameter, "HUFF_COMPRESSION", trees, trees});
    kinds.push_back({3, parameter, "AHUFF_COMPRESSION", trees, trees});
  }
  for (int level = 1; level <= 9; ++level) {
    const std::string shownLevel = "double 1x1: " + std::to_string(level);
    kinds.push_back({5, level, "GZIP_COMPRESSION", shownLevel, shownLevel});
  }
  return kinds;
}

class CompressionTest : public GatewayTest {
 protected:
  void set(const char* operation, std::vector<double> numbers, const Kind& kind) {
    numbers.push_back(kind.type);
    if (kind.parameter) numbers.push_back(*kind.parameter);
    EXPECT_TRUE(callWith(operation, fileAnd(file_, numbers)).empty());
  }

  void expect(const std::vector<Array>& outputs, const Kind& kind, const std::string& parameter) {
    ASSERT_EQ(outputs.size(), 3U);
    EXPECT_EQ(textOf(outputs[0]), kind.name);
    EXPECT_EQ(shown(outputs[1]), parameter);
    const double percentage = numberOf(outputs[2]);
    EXPECT_TRUE(percentage > 0 && (kind.type == 0 ? percentage == 100 : percentage < 90))
        << percentage;
  }

  File file_;
};

TEST_F(CompressionTest, EveryKindIsShownAndReadBack) {
  const Dims shape = {40, 30, 4};  // the last for the records
  std::vector<std::int32_t> values(4800);
  for (std::size_t i = 0; i < values.size(); i += 7) values[i] = static_cast<std::int32_t>(i);
  const List zero = {0, 0};
  const List extents = {40, 30};
  const List one = {1, 1};

  for (const double majority : {1.0, 2.0}) {
    for (const bool ofFile : {true, false}) {
      for (const Kind& kind : everyKind()) {
        SCOPED_TRACE(kind.name + std::to_string(kind.parameter.value_or(-1)));
        file_ = create("a");
        call("setMajority", file_, majority);
        if (ofFile) set("setCompression", {}, kind);
        createVar(file_, "v", 4, 1, extents);
        if (!ofFile) set("setVarCompression", {0}, kind);
        call("hyperPutVarData", file_, 0.0, 0.0, 4.0, 1.0, zero, extents, one,
             numbers<std::int32_t>(shape, values));
        close(file_);

        file_ = open("a");
        expect(ofFile ? call("getCompression", file_) : call("getVarCompression", file_, 0.0), kind,
               ofFile ? kind.fileParameter : kind.variableParameter);
        const Array read =
            std::move(call("hyperGetVarData", file_, 0.0, 0.0, 4.0, 1.0, zero, extents, one).at(0));
        EXPECT_EQ(valuesOf<std::int32_t>(read), values);
        EXPECT_EQ(dimsOf(read), shape);
        call("delete", file_);
      }
    }
  }
}

TEST_F(CompressionTest, Refusals) {
  const char* missingLevel = "VORLAN:tarvik:unspecifiedGzipCompressionLevel";
  const char* unknownType = "VORLAN:tarvik:setCompression:unrecognizedCompressionType";
  const char* badLevel = "VORLAN:tarvik:setCompression:badGzipLevel";
  const auto level = [](int value) {
    return "The gzip compression level was specified as " + std::to_string(value) +
           ", but it must be between 1 and 9.";
  };
  const std::string supply =
      "When specifying GZIP_COMPRESSION, a compression level must also be supplied.";
  const auto ofFile = [](long status) { return failureOf("setCompression", status); };
  const auto ofVariable = [](long status) { return failureOf("setVarCompression", status); };
  const struct {
    const char* operation;
    List inputs;  ///< Behind the file.
    Raised raised;
  } rows[] = {
      {"setCompression", {5}, {missingLevel, supply}},
      {"setCompression", {4}, {unknownType, "Unrecognized compression type \"4\"."}},
      {"setCompression", {6}, {unknownType, "Unrecognized compression type \"6\"."}},
      {"setCompression", {-1}, {unknownType, "Unrecognized compression type \"-1\"."}},
      {"setCompression", {5, 0}, {badLevel, level(0)}},
      {"setCompression", {5, 10}, {badLevel, level(10)}},
      {"setCompression", {5, -6}, {badLevel, level(-6)}},
      {"setCompression", {4, 0}, ofFile(UNKNOWN_COMPRESSION)},
      {"setCompression", {1, 7}, ofFile(BAD_COMPRESSION_PARM)},
      {"setVarCompression", {0, 5}, {missingLevel, supply}},
      {"setVarCompression", {0, 4}, {unknownType, "Unrecognized compression type \"4\"."}},
      {"setVarCompression", {0, 7}, {unknownType, "Unrecognized compression type \"7\"."}},
      {"setVarCompression", {0, -1}, {unknownType, "Unrecognized compression type \"-1\"."}},
      {"setVarCompression", {0, 7, 0}, ofVariable(UNKNOWN_COMPRESSION)},
      {"setVarCompression", {0, 5, 12}, ofVariable(BAD_COMPRESSION_PARM)},
      {"setVarCompression", {0, 3, 1}, ofVariable(BAD_COMPRESSION_PARM)},
      {"setVarCompression", {9, 5, 6}, ofVariable(NO_SUCH_VAR)},
      {"getVarCompression", {9}, failureOf("getVarCompression", NO_SUCH_VAR)},
  };
  file_ = create("a");
  createVar(file_, "v", 4);
  for (const auto& row : rows) {
    EXPECT_EQ(raisedWith(row.operation, fileAnd(file_, row.inputs)), row.raised);
  }
  EXPECT_EQ(textOf(call("getCompression", file_).at(0)), "NO_COMPRESSION");
  EXPECT_EQ(textOf(call("getVarCompression", file_, 0.0).at(0)), "NO_COMPRESSION");
  close(file_);

  file_ = create("b");
  call("setFormat", file_, 2.0);
  createVar(file_, "v", 4);
  EXPECT_EQ(raised("setCompression", file_, 1.0), ofFile(CANNOT_COMPRESS));
  EXPECT_EQ(raised("setVarCompression", file_, 0.0, 1.0), ofVariable(CANNOT_COMPRESS));
  close(file_);
}

}  // namespace
