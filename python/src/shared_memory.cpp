#include "python/src/shared_memory.h"

#include <sys/mman.h>

#include "python/src/numpy.h"

namespace pyhost {
namespace {

struct Mapping {
  void* memory;
  std::size_t size;
  ~Mapping() { munmap(memory, size); }
};

}  // namespace

nb::object mapMemory(int descriptor, std::size_t size) {
  void* const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE, descriptor, 0);
  if (memory == MAP_FAILED) {
    PyErr_SetFromErrno(PyExc_OSError);
    throw nb::python_error();
  }
  nb::capsule owner(new Mapping{memory, size},
                    [](void* mapping) noexcept { delete static_cast<Mapping*>(mapping); });
  npy_intp length = static_cast<npy_intp>(size);
  nb::object array = nb::steal(PyArray_New(&PyArray_Type, 1, &length, NPY_UINT8, nullptr, memory, 0,
                                           NPY_ARRAY_CARRAY, nullptr));
  if (!array.is_valid()) throw nb::python_error();
  auto* const made = reinterpret_cast<PyArrayObject*>(array.ptr());
  if (PyArray_SetBaseObject(made, owner.release().ptr()) != 0) throw nb::python_error();
  return array;
}

}  // namespace pyhost
