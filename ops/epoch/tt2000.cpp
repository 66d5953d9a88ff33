// The two operations of the extended plug-in: calendar components to times with leap seconds and
// back, array at a time.
#include "cdf/tt2000.h"

#include <algorithm>
#include <array>

#include "convert/numbers.h"
#include "gateway/handlers.h"
#include "ops/epoch/inputs.h"

namespace tarvik::ops {

using cdf::tt2000Components;

void computeTT2000(int, vlArray* outputs[], int, const vlArray* inputs[], const OperationEntry*) {
  const std::size_t count =
      countGroups(inputs[0], tt2000Components,
                  {"VORLAN:tarvik:computeTT2000:badLength",
                   "The number of elements for the input argument should be a multiple of nine."});
  checkDouble(inputs[0], "VORLAN:tarvik:computeTT2000:badDatatype");
  vlArray* times = vlCreateNumericMatrix(1, count, vlINT64_CLASS, vlREAL);
  auto* time = static_cast<std::int64_t*>(vlGetData(times));
  const auto* components = static_cast<const double*>(vlGetData(inputs[0]));
  std::array<long, tt2000Components> c{};
  for (std::size_t i = 0; i < count; ++i, components += tt2000Components) {
    unpackElements(components, c.size(), c.data());
    *time++ = cdf::tt2000Of(c);
  }
  outputs[0] = times;
}

void tt2000Breakdown(int, vlArray* outputs[], int, const vlArray* inputs[], const OperationEntry*) {
  checkClass(inputs[0], vlINT64_CLASS,
             {"VORLAN:tarvik:tt2000Breakdown:badDatatype", "The input argument must be int64."});
  const std::size_t count = vlGetNumberOfElements(inputs[0]);
  vlArray* components = vlCreateNumericMatrix(tt2000Components, count, vlDOUBLE_CLASS, vlREAL);
  const auto* times = static_cast<const std::int64_t*>(vlGetData(inputs[0]));
  auto* column = static_cast<double*>(vlGetData(components));
  std::for_each(times, times + count, [&column](std::int64_t time) {
    const auto parts = cdf::tt2000Parts(time);
    column = std::copy(parts.begin(), parts.end(), column);
  });
  outputs[0] = components;
}

}  // namespace tarvik::ops
