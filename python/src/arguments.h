/// The arguments of one call as Python holds them.
#pragma once

#include <cstddef>
#include <nanobind/nanobind.h>

namespace pyhost {

namespace nb = nanobind;

/// The operation's name, if any was given, and its inputs: borrowed from who calls.
struct Arguments {
  PyObject* const* first;
  std::size_t count;

  PyObject* const* begin() const { return first; }
  PyObject* const* end() const { return first + count; }
};

/// The same as Python's own functions take them.
inline nb::tuple tupleOf(const Arguments& arguments) {
  const auto count = static_cast<Py_ssize_t>(arguments.count);
  const auto made = nb::steal<nb::tuple>(PyTuple_New(count));
  if (!made.is_valid()) throw nb::python_error();
  for (Py_ssize_t i = 0; i < count; ++i) {
    PyTuple_SET_ITEM(made.ptr(), i, nb::handle(arguments.first[i]).inc_ref().ptr());
  }
  return made;
}

}  // namespace pyhost
