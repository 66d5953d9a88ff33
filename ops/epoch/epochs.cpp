// Calendar components to epochs and back, array at a time. One epoch's components are consecutive
// elements; an epoch16 value is two: its seconds, then the picoseconds within the second.
#include <algorithm>
#include <array>
#include <vector>

#include "cdf/functions.h"
#include "convert/numbers.h"
#include "gateway/handlers.h"
#include "ops/epoch/inputs.h"

namespace tarvik::ops {

namespace {

/// Year, month, day, hour, minute, second, millisecond.
constexpr std::size_t epochComponents = 7;
/// The same, then microsecond, nanosecond, picosecond.
constexpr std::size_t epoch16Components = 10;
constexpr std::size_t epoch16Doubles = 2;

/// What the library gives for components that are no valid time.
constexpr double ILLEGAL_EPOCH_VALUE = -1.0;

const double* doublesOf(const vlArray* array) {
  return static_cast<const double*>(vlGetData(array));
}

double* writableDoublesOf(vlArray* array) {
  return static_cast<double*>(vlGetData(array));
}

/// Ten components for each value: one column a value, or the shape of an array whose first
/// dimension holds the two doubles.
std::vector<std::size_t> breakdownDimensions(const vlArray* argument, std::size_t values) {
  const std::size_t* dims = vlGetDimensions(argument);
  std::vector<std::size_t> result = {epoch16Components};
  if (dims[0] == epoch16Doubles) {
    result.insert(result.end(), dims + 1, dims + vlGetNumberOfDimensions(argument));
  } else {
    result.push_back(values);
  }
  return result;
}

}  // namespace

void computeEpoch(int, vlArray* outputs[], int, const vlArray* inputs[], const OperationEntry*) {
  const std::size_t count =
      countGroups(inputs[0], epochComponents,
                  {"VORLAN:tarvik:computeEpoch:badLength",
                   "The number of elements for the input argument should be a multiple of seven."});
  checkDouble(inputs[0], "VORLAN:tarvik:computeEpoch:badDatatype");
  vlArray* epochs = vlCreateNumericMatrix(1, count, vlDOUBLE_CLASS, vlREAL);
  const Longs components = unpackVector(inputs[0]);
  double* epoch = writableDoublesOf(epochs);
  for (std::size_t i = 0; i < count; ++i) {
    const long* c = &components[i * epochComponents];
    epoch[i] = computeEPOCH(c[0], c[1], c[2], c[3], c[4], c[5], c[6]);
  }
  outputs[0] = epochs;
}

void computeEpoch16(int, vlArray* outputs[], int, const vlArray* inputs[], const OperationEntry*) {
  const std::size_t count =
      countGroups(inputs[0], epoch16Components,
                  {"VORLAN:tarvik:computeEpoch16:badLength",
                   "The number of elements for the input argument must be a multiple of ten."});
  checkDouble(inputs[0], "VORLAN:tarvik:computeEpoch16:badDatatype");
  const Longs components = unpackVector(inputs[0]);
  vlArray* epochs = vlCreateNumericMatrix(epoch16Doubles, count, vlDOUBLE_CLASS, vlREAL);
  double* epoch = writableDoublesOf(epochs);
  for (std::size_t i = 0; i < count; ++i, epoch += epoch16Doubles) {
    const long* c = &components[i * epoch16Components];
    if (computeEPOCH16(c[0], c[1], c[2], c[3], c[4], c[5], c[6], c[7], c[8], c[9], epoch) ==
        ILLEGAL_EPOCH_VALUE) {
      vlErrMsgIdAndTxt("VORLAN:tarvik:computeEpoch16:illegalEpochValue",
                       "The input argument was not valid.");
    }
  }
  outputs[0] = epochs;
}

void epochBreakdown(int, vlArray* outputs[], int, const vlArray* inputs[], const OperationEntry*) {
  checkDouble(inputs[0], "VORLAN:tarvik:epochBreakdown:badDatatype");
  const std::size_t count = vlGetNumberOfElements(inputs[0]);
  vlArray* components = vlCreateNumericMatrix(epochComponents, count, vlDOUBLE_CLASS, vlREAL);
  const double* epochs = doublesOf(inputs[0]);
  double* column = writableDoublesOf(components);
  std::array<long, epochComponents> c{};
  for (std::size_t i = 0; i < count; ++i, column += epochComponents) {
    EPOCHbreakdown(epochs[i], &c[0], &c[1], &c[2], &c[3], &c[4], &c[5], &c[6]);
    std::copy(c.begin(), c.end(), column);
  }
  outputs[0] = components;
}

void epoch16Breakdown(int, vlArray* outputs[], int, const vlArray* inputs[],
                      const OperationEntry*) {
  const std::size_t count = countGroups(inputs[0], epoch16Doubles,
                                        {"VORLAN:tarvik:epoch16Breakdown:badLength",
                                         "The number of elements should be multiple of two."});
  checkDouble(inputs[0], "VORLAN:tarvik:epoch16Breakdown:badDatatype");
  const std::vector<std::size_t> dims = breakdownDimensions(inputs[0], count);
  vlArray* components = vlCreateNumericArray(dims.size(), dims.data(), vlDOUBLE_CLASS, vlREAL);
  const double* epochs = doublesOf(inputs[0]);
  double* column = writableDoublesOf(components);
  std::array<long, epoch16Components> c{};
  for (std::size_t i = 0; i < count; ++i, column += epoch16Components) {
    // The library takes the pair as not const; what users gave is not to be written.
    double epoch[epoch16Doubles] = {epochs[2 * i], epochs[2 * i + 1]};
    EPOCH16breakdown(epoch, &c[0], &c[1], &c[2], &c[3], &c[4], &c[5], &c[6], &c[7], &c[8], &c[9]);
    std::copy(c.begin(), c.end(), column);
  }
  outputs[0] = components;
}

}  // namespace tarvik::ops
