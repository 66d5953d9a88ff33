/// Lists with one number for each dimension. They need no memory of the heap for as many dimensions
/// as the library allows, and two more numbers: those of the values' own and of the records.
#pragma once

#include <boost/container/small_vector.hpp>
#include <cstddef>

#include "cdf/items.h"

namespace tarvik {

using Longs = boost::container::small_vector<long, CDF_MAX_DIMS + 2>;
using Sizes = boost::container::small_vector<std::size_t, CDF_MAX_DIMS + 2>;

}  // namespace tarvik
