#include "cdf/tt2000.h"

#include <algorithm>

#include "cdf/functions.h"

namespace tarvik::cdf {

namespace {

/// Whether the library can judge a date. It looks the month up in tables of thirteen rows unseen:
/// month 1000000000 crashes, month 14 gives a wrong time. It bounds days above, at 366, but not
/// below: day -200000 of January 2016 comes out in the year 2052.
bool isJudged(long month, long day) {
  return month >= 0 && month <= 13 && day >= -366;
}

}  // namespace

std::int64_t tt2000Of(const std::array<long, tt2000Components>& components) {
  if (!isJudged(components[1], components[2])) {
    return ILLEGAL_TT2000_VALUE;
  }
  std::array<double, tt2000Components> c{};
  std::transform(components.begin(), components.end(), c.begin(),
                 [](long component) { return static_cast<double>(component); });
  return computeTT2000(c[0], c[1], c[2], c[3], c[4], c[5], c[6], c[7], c[8]);
}

std::array<double, tt2000Components> tt2000Parts(std::int64_t time) {
  std::array<double, tt2000Components> c{};
  breakdownTT2000(time, &c[0], &c[1], &c[2], &c[3], &c[4], &c[5], &c[6], &c[7], &c[8]);
  return c;
}

}  // namespace tarvik::cdf
