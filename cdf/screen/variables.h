/// The descriptions of variables, and the indices that lead to their records.
#pragma once

#include <cstdint>

#include "cdf/screen/file_records.h"

namespace tarvik::cdf {

/// The most bytes that one byte of compressed data can stand for: a match of 258 bytes takes gzip
/// two bits, a run of 256 zeros takes run-length encoding two bytes, and the others spend a bit on
/// each byte.
constexpr std::int64_t mostInflation = 1032;

struct Dimensions {
  std::int32_t count;
  Fields sizes;
};

/// How a file describes its variables.
struct VariableLayout {
  Dimensions ofRVariables;
  /// Before version 2.5 each description had 128 bytes that meant nothing.
  bool hasGap;
};

/// Whether all variables of a chain are fit for the library.
bool variablesFit(FileRecords& records, const Chain& chain, const VariableLayout& layout);

}  // namespace tarvik::cdf
