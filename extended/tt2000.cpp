// The library's times with leap seconds, CDF_TIME_TT2000: nanoseconds since J2000. Calendar
// components to times and back, array at a time. The library has them from version 3.4 on.
#include <algorithm>
#include <array>
#include <cstdint>

#include "cdf/library.h"
#include "convert/numbers.h"
#include "gateway/handlers.h"
#include "ops/epoch/inputs.h"

namespace tarvik::ops {

namespace {

/// Year, month, day, hour, minute, second, millisecond, microsecond, nanosecond.
constexpr std::size_t tt2000Components = 9;

/// What the library gives for components that form no valid time.
constexpr std::int64_t ILLEGAL_TT2000_VALUE = -9223372036854775805;

/// Whether the library checks a date. It reads tables of thirteen rows at the month, unchecked:
/// month 1000000000 crashes, month 14 gives a wrong time. It bounds days above, at 366, but not
/// below: day -200000 of January 2016 gives a time in the year 2052.
bool isChecked(long month, long day) {
  return month >= 0 && month <= 13 && day >= -366;
}

/// A month of 0 makes the day one of the year.
std::int64_t timeOf(const long* components) {
  if (!isChecked(components[1], components[2])) {
    return ILLEGAL_TT2000_VALUE;
  }
  std::array<double, tt2000Components> c{};
  std::copy_n(components, c.size(), c.begin());
  return ::computeTT2000(c[0], c[1], c[2], c[3], c[4], c[5], c[6], c[7], c[8]);
}

}  // namespace

void computeTT2000(int, vlArray* outputs[], int, const vlArray* inputs[], const OperationEntry*) {
  const std::size_t count =
      countGroups(inputs[0], tt2000Components,
                  {"VORLAN:tarvik:computeTT2000:badLength",
                   "The number of elements for the input argument should be a multiple of nine."});
  checkDouble(inputs[0], "VORLAN:tarvik:computeTT2000:badDatatype");
  vlArray* times = vlCreateNumericMatrix(1, count, vlINT64_CLASS, vlREAL);
  const Longs components = unpackVector(inputs[0]);
  auto* time = static_cast<std::int64_t*>(vlGetData(times));
  for (std::size_t i = 0; i < count; ++i) {
    time[i] = timeOf(&components[i * tt2000Components]);
  }
  outputs[0] = times;
}

void tt2000Breakdown(int, vlArray* outputs[], int, const vlArray* inputs[], const OperationEntry*) {
  checkClass(inputs[0], vlINT64_CLASS,
             {"VORLAN:tarvik:tt2000Breakdown:badDatatype", "The input argument must be int64."});
  const std::size_t count = vlGetNumberOfElements(inputs[0]);
  vlArray* components = vlCreateNumericMatrix(tt2000Components, count, vlDOUBLE_CLASS, vlREAL);
  const auto* times = static_cast<const std::int64_t*>(vlGetData(inputs[0]));
  auto* c = static_cast<double*>(vlGetData(components));
  for (std::size_t i = 0; i < count; ++i, c += tt2000Components) {
    breakdownTT2000(times[i], &c[0], &c[1], &c[2], &c[3], &c[4], &c[5], &c[6], &c[7], &c[8]);
  }
  outputs[0] = components;
}

}  // namespace tarvik::ops
