/// From Python values to host arrays.
#pragma once

#include <boost/container/small_vector.hpp>
#include <cstdint>
#include <nanobind/nanobind.h>
#include <optional>
#include <vector>

#include "python/src/arguments.h"
#include "runtime/host.h"

namespace pyhost {

namespace nb = nanobind;

/// The inputs of one call, the operation's name first. Numeric arrays in Fortran order are passed
/// as they lie in memory, except those that must become double; everything else is copied once.
/// Lives, and is destroyed, with the interpreter's lock held.
class Inputs {
 public:
  /// Raises TypeError, ValueError or OverflowError, naming the input, for what no host array can
  /// hold. What `arguments` refers to must outlive this object.
  Inputs(nb::handle gateway, const Arguments& arguments);
  Inputs(const Inputs&) = delete;
  Inputs& operator=(const Inputs&) = delete;

  const std::vector<const vlArray*>& arrays() const { return arrays_; }

 private:
  void add(nb::handle gateway, nb::handle value, std::size_t position, nb::handle operation);
  void own(vlhost::Array array);
  void addSlowly(nb::handle value, std::size_t position, nb::handle operation);
  bool isNumber(std::size_t position, nb::handle operation);

  std::vector<const vlArray*> arrays_;
  boost::container::small_vector<vlhost::Array, 8> owned_;
  std::vector<nb::object> kept_;  ///< What arrays borrow from, beside the arguments themselves.
  /// Which inputs are numbers, empty until it is asked for: of this call, or of all calls of the
  /// operation where its name is kept.
  std::optional<std::uint64_t> ownNumberInputs_;
  std::optional<std::uint64_t>* numberInputs_ = &ownNumberInputs_;
};

}  // namespace pyhost
