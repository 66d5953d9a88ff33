/// From host arrays to Python values.
#pragma once

#include <nanobind/nanobind.h>

#include "runtime/host.h"

namespace pyhost {

namespace nb = nanobind;

/// The array as Python knows it: a number, a bool, a str, a NumPy array or a list. A NumPy array of
/// numbers owns the host array and its memory.
nb::object toPython(vlhost::Array array);

}  // namespace pyhost
