// The named constants.
#include <algorithm>
#include <cctype>

#include "tests/gateway/gateway_test.h"

namespace {

using ConstantsTest = GatewayTest;

struct Constant {
  std::string name;
  double value;
};

/// In the order in which they are listed.
// clang-format off
const Constant constants[] = {
    {"AHUFF_COMPRESSION", 3}, {"ALPHAOSF1_ENCODING", 13}, {"ALPHAVMSD_ENCODING", 14},
    {"ALPHAVMSG_ENCODING", 15}, {"ALPHAVMSI_ENCODING", 16}, {"CDF_BYTE", 41},
    {"CDF_CHAR", 51}, {"CDF_DOUBLE", 45}, {"CDF_EPOCH", 31},
    {"CDF_EPOCH16", 32}, {"CDF_FLOAT", 44}, {"CDF_INT1", 1},
    {"CDF_INT2", 2}, {"CDF_INT4", 4}, {"CDF_REAL4", 21},
    {"CDF_REAL8", 22}, {"CDF_UCHAR", 52}, {"CDF_UINT1", 11},
    {"CDF_UINT2", 12}, {"CDF_UINT4", 14}, {"COLUMN_MAJOR", 2},
    {"DECSTATION_ENCODING", 4}, {"GLOBAL_SCOPE", 1}, {"GZIP_COMPRESSION", 5},
    {"HOST_ENCODING", 8}, {"HP_ENCODING", 11}, {"HUFF_COMPRESSION", 2},
    {"IBMPC_ENCODING", 6}, {"IBMRS_ENCODING", 7}, {"MAC_ENCODING", 9},
    {"MD5_CHECKSUM", 1}, {"MULTI_FILE", 2}, {"NETWORK_ENCODING", 1},
    {"NEXT_ENCODING", 12}, {"NOVARY", 0}, {"NO_CHECKSUM", 0},
    {"NO_COMPRESSION", 0}, {"NO_SPARSERECORDS", 0}, {"OPTIMAL_ENCODING_TREES", 0},
    {"OTHER_CHECKSUM", 2}, {"PAD_SPARSERECORDS", 1}, {"PREV_SPARSERECORDS", 2},
    {"READONLYOFF", 0}, {"READONLYON", -1}, {"RLE_COMPRESSION", 1},
    {"RLE_OF_ZEROS", 0}, {"ROW_MAJOR", 1}, {"SGI_ENCODING", 5},
    {"SINGLE_FILE", 1}, {"SUN_ENCODING", 2}, {"VALIDATEFILEOFF", 0},
    {"VALIDATEFILEON", -1}, {"VARIABLE_SCOPE", 2}, {"VARY", -1},
    {"VAX_ENCODING", 3},
};
// clang-format on

/// Every second letter in lower case.
std::string mixed(std::string name) {
  for (std::size_t i = 0; i < name.size(); i += 2) {
    name[i] = static_cast<char>(std::tolower(name[i]));
  }
  return name;
}

TEST_F(ConstantsTest, AreListedInOrder) {
  const Array names = std::move(call("getConstantNames").at(0));
  ASSERT_EQ(dimsOf(names), (Dims{std::size(constants), 1}));
  for (std::size_t i = 0; i < std::size(constants); ++i) {
    const std::string& name = constants[i].name;
    EXPECT_EQ(shown(vlhost::cellValue(names.get(), i)),
              "char 1x" + std::to_string(name.size()) + ": " + name);
  }
}

TEST_F(ConstantsTest, AreFoundInAnyCase) {
  for (const Constant& constant : constants) {
    EXPECT_EQ(numberOf(call("getConstantValue", constant.name).at(0)), constant.value);
    EXPECT_EQ(numberOf(call("getConstantValue", mixed(constant.name)).at(0)), constant.value);
  }
}

TEST_F(ConstantsTest, OtherNamesAreRefused) {
  const struct {
    const char* name;
    const char* shown;
  } rows[] = {
      {"cdf_int3", "CDF_INT3"}, {"", ""}, {" VARY", " VARY"}, {"VARY ", "VARY "}, {"VAR", "VAR"}};
  for (const auto& row : rows) {
    EXPECT_EQ(raised("getConstantValue", row.name),
              (Raised{"VORLAN:tarvik:getConstantValue:unrecognizedConstantName",
                      std::string("\"") + row.shown +
                          "\" is not a string corresponding to any known CDF constant value."}));
  }
  for (const vlClassID classId : {vlDOUBLE_CLASS, vlCELL_CLASS, vlINT8_CLASS}) {
    const Array input = oneOf(classId);
    EXPECT_EQ(raised("getConstantValue", input.get()),
              (Raised{"VORLAN:tarvik:getConstantValue:badInputDatatype",
                      std::string("The input to getConstantValue should have class char instead "
                                  "of ") +
                          vlGetClassName(input.get()) + "."}));
  }
}

}  // namespace
