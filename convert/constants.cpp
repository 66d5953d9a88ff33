#include "convert/constants.h"

#include <iterator>
#include <utility>

namespace tarvik {

namespace {

const std::pair<const char*, double> table[] = {
    // Datatypes.
    {"CDF_INT1", 1},
    {"CDF_INT2", 2},
    {"CDF_INT4", 4},
    {"CDF_UINT1", 11},
    {"CDF_UINT2", 12},
    {"CDF_UINT4", 14},
    {"CDF_REAL4", 21},
    {"CDF_REAL8", 22},
    {"CDF_EPOCH", 31},
    {"CDF_EPOCH16", 32},
    {"CDF_BYTE", 41},
    {"CDF_FLOAT", 44},
    {"CDF_DOUBLE", 45},
    {"CDF_CHAR", 51},
    {"CDF_UCHAR", 52},
#ifdef TARVIK_EXTENDED
    {"CDF_INT8", 8},
    {"CDF_TIME_TT2000", 33},
#endif
    // Encodings.
    {"OPTIMAL_ENCODING_TREES", 0},
    {"NETWORK_ENCODING", 1},
    {"SUN_ENCODING", 2},
    {"VAX_ENCODING", 3},
    {"DECSTATION_ENCODING", 4},
    {"SGI_ENCODING", 5},
    {"IBMPC_ENCODING", 6},
    {"IBMRS_ENCODING", 7},
    {"HOST_ENCODING", 8},
    {"MAC_ENCODING", 9},
    {"HP_ENCODING", 11},
    {"NEXT_ENCODING", 12},
    {"ALPHAOSF1_ENCODING", 13},
    {"ALPHAVMSD_ENCODING", 14},
    {"ALPHAVMSG_ENCODING", 15},
    {"ALPHAVMSI_ENCODING", 16},
    // Compression and its parameters.
    {"NO_COMPRESSION", 0},
    {"RLE_OF_ZEROS", 0},
    {"RLE_COMPRESSION", 1},
    {"HUFF_COMPRESSION", 2},
    {"AHUFF_COMPRESSION", 3},
    {"GZIP_COMPRESSION", 5},
    // Checksums.
    {"NO_CHECKSUM", 0},
    {"MD5_CHECKSUM", 1},
    {"OTHER_CHECKSUM", 2},
    // Sparse records.
    {"NO_SPARSERECORDS", 0},
    {"PAD_SPARSERECORDS", 1},
    {"PREV_SPARSERECORDS", 2},
    // Majority, format, scope and variance.
    {"NOVARY", 0},
    {"GLOBAL_SCOPE", 1},
    {"ROW_MAJOR", 1},
    {"SINGLE_FILE", 1},
    {"VARY", -1},
    {"COLUMN_MAJOR", 2},
    {"MULTI_FILE", 2},
    {"VARIABLE_SCOPE", 2},
    // Modes.
    {"READONLYOFF", 0},
    {"VALIDATEFILEOFF", 0},
    {"READONLYON", -1},
    {"VALIDATEFILEON", -1},
};

const std::map<std::string, double> constants(std::begin(table), std::end(table));

}  // namespace

const std::map<std::string, double>& namedConstants() {
  return constants;
}

}  // namespace tarvik
