/// The library's times with leap seconds, CDF_TIME_TT2000: nanoseconds since J2000, which only the
/// extended plug-in serves. The library has them from version 3.4 on.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace tarvik::cdf {

/// Year, month, day, hour, minute, second, millisecond, microsecond, nanosecond.
inline constexpr std::size_t tt2000Components = 9;

/// What the library gives for components that are no valid time.
inline constexpr std::int64_t ILLEGAL_TT2000_VALUE = -9223372036854775805;

/// The time of the components, or ILLEGAL_TT2000_VALUE. A month of 0 makes the day one of the year.
std::int64_t tt2000Of(const std::array<long, tt2000Components>& components);

/// The components of a time; the second is 60 in a leap second.
std::array<double, tt2000Components> tt2000Parts(std::int64_t time);

}  // namespace tarvik::cdf
