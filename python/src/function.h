/// Operations as functions of a Python module.
#pragma once

#include <nanobind/nanobind.h>
#include <string>

namespace pyhost {

namespace nb = nanobind;

/// How a function calls its operation.
struct Operation {
  nb::object gateway;
  nb::str name;
  nb::object arrange;  ///< Makes the inputs from a tuple and a dict, where some are named.
  nb::object finish;   ///< Makes the result from the outputs; None where they are the result.
};

/// Makes a built-in function of `module`, which lives as long as the process; of functions with one
/// name in one module, the last operation is what all of them call. `doc` begins with the
/// signature, as Python reads it from built-in functions. An operation that is called with inputs
/// in their order alone, the last not None, comes to the gateway without a step in Python.
nb::object makeFunction(nb::handle module, Operation operation, std::string doc);

}  // namespace pyhost
