#include "python/src/function.h"

#include <array>
#include <boost/container/small_vector.hpp>
#include <exception>
#include <nanobind/stl/string.h>
#include <new>
#include <stdexcept>
#include <utility>

#include "python/src/gateway.h"
#include "python/src/visit.h"

namespace pyhost {
namespace {

using FastFunction = PyObject* (*)(PyObject*, PyObject* const*, Py_ssize_t, PyObject*);

/// One function of a module. What Python refers to must stay where it is.
struct Function {
  std::string module;
  Operation operation;
  std::string doc;
  PyMethodDef definition;
};

/// More functions than there are operations in two modules.
constexpr std::size_t kMostFunctions = 256;

/// Never destroyed, as the functions may outlive the module. Behind the last stands null.
std::array<Function*, kMostFunctions + 1> functions{};

/// The place of the function of that name in a module, or the first that is free.
std::size_t slotOf(const std::string& module, nb::handle name) {
  std::size_t slot = 0;
  while (functions[slot] != nullptr &&
         (functions[slot]->module != module || !functions[slot]->operation.name.equal(name))) {
    ++slot;
  }
  return slot;
}

nb::object callWith(const Operation& operation, PyObject* const* inputs, std::size_t count) {
  boost::container::small_vector<PyObject*, 16> arguments{operation.name.ptr()};
  arguments.insert(arguments.end(), inputs, inputs + count);
  const nb::object gateway = operation.gateway;  // stays while the call lasts
  nb::object outputs =
      nb::inst_ptr<Gateway>(gateway)->call(gateway, {arguments.data(), arguments.size()});
  return operation.finish.is_none() ? outputs : operation.finish(outputs);
}

nb::object callArranged(const Operation& operation, PyObject* const* inputs, std::size_t count,
                        nb::handle names) {
  nb::dict named;
  const std::size_t numNamed = names.is_valid() ? nb::len(names) : 0;
  for (std::size_t i = 0; i < numNamed; ++i) named[names[i]] = nb::handle(inputs[count + i]);
  const nb::tuple arranged(operation.arrange(tupleOf({inputs, count}), named));
  return callWith(operation, PySequence_Fast_ITEMS(arranged.ptr()), arranged.size());
}

/// What Python calls: gives a new reference, or null with Python's error set.
PyObject* enter(const Function& function, PyObject* const* inputs, Py_ssize_t numInputs,
                PyObject* names) noexcept {
  const Visit visit;
  try {
    const auto count = static_cast<std::size_t>(numInputs);
    const bool asGiven = names == nullptr && (count == 0 || inputs[count - 1] != Py_None);
    nb::object value = asGiven ? callWith(function.operation, inputs, count)
                               : callArranged(function.operation, inputs, count, names);
    return value.release().ptr();
  } catch (nb::python_error& error) {
    error.restore();
  } catch (const std::bad_alloc&) {
    PyErr_NoMemory();
  } catch (const std::exception& error) {
    PyErr_SetString(PyExc_RuntimeError, error.what());
  }
  return nullptr;
}

/// A built-in function gets nothing that tells it from the next one, so each has an entry of its
/// own.
template <std::size_t... slots>
constexpr std::array<FastFunction, kMostFunctions> makeEntries(std::index_sequence<slots...>) {
  return {[](PyObject*, PyObject* const* inputs, Py_ssize_t count, PyObject* names) {
    return enter(*functions[slots], inputs, count, names);
  }...};
}

constexpr auto entries = makeEntries(std::make_index_sequence<kMostFunctions>());

}  // namespace

nb::object makeFunction(nb::handle module, Operation operation, std::string doc) {
  const nb::object moduleName = module.attr("__name__");
  const auto owner = nb::cast<std::string>(moduleName);
  const std::size_t slot = slotOf(owner, operation.name);
  if (slot == kMostFunctions) throw std::length_error("there are too many functions");
  if (functions[slot] == nullptr) {
    functions[slot] = new Function{owner, std::move(operation), std::move(doc), {}};
  } else {  // the module was loaded anew
    functions[slot]->operation = std::move(operation);
  }
  Function& function = *functions[slot];
  // Python calls what has these flags with the names of named inputs behind the others.
  function.definition = {function.operation.name.c_str(),
                         reinterpret_cast<PyCFunction>(reinterpret_cast<void*>(entries[slot])),
                         METH_FASTCALL | METH_KEYWORDS, function.doc.c_str()};
  nb::object result =
      nb::steal(PyCFunction_NewEx(&function.definition, module.ptr(), moduleName.ptr()));
  if (!result.is_valid()) throw nb::python_error();
  return result;
}

}  // namespace pyhost
