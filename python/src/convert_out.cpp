#include "python/src/convert_out.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "python/src/numpy.h"

namespace pyhost {
namespace {

char lowByte(vlChar element) {
  return static_cast<char>(element & 0xFF);
}

nb::object checked(PyObject* made) {
  if (made == nullptr) throw nb::python_error();
  return nb::steal(made);
}

std::vector<npy_intp> shapeOf(const vlArray* array) {
  const std::size_t* const dims = vlGetDimensions(array);
  return {dims, dims + vlGetNumberOfDimensions(array)};
}

bool isScalar(const vlArray* array) {
  return vlGetNumberOfElements(array) == 1 && vlGetNumberOfDimensions(array) == 2;
}

/// A line of text: 1-by-N, or 0-by-0, which is an empty one.
bool isRow(const vlArray* array) {
  const std::size_t* const dims = vlGetDimensions(array);
  return vlGetNumberOfDimensions(array) == 2 && (dims[0] == 1 || (dims[0] == 0 && dims[1] == 0));
}

nb::object charRow(const vlArray* array) {
  const auto* const elements = static_cast<const vlChar*>(vlGetData(array));
  const std::size_t count = vlGetNumberOfElements(array);
  std::string bytes(count, '\0');
  std::transform(elements, elements + count, bytes.begin(), lowByte);
  return checked(
      PyUnicode_DecodeUTF8(bytes.data(), static_cast<Py_ssize_t>(bytes.size()), "surrogateescape"));
}

/// Single characters in an array of the same shape.
nb::object charArray(const vlArray* array) {
  std::vector<npy_intp> shape = shapeOf(array);
  nb::object made =
      checked(PyArray_New(&PyArray_Type, static_cast<int>(shape.size()), shape.data(), NPY_STRING,
                          nullptr, nullptr, 1, NPY_ARRAY_F_CONTIGUOUS, nullptr));
  const auto* const elements = static_cast<const vlChar*>(vlGetData(array));
  auto* const bytes =
      static_cast<char*>(PyArray_DATA(reinterpret_cast<PyArrayObject*>(made.ptr())));
  std::transform(elements, elements + vlGetNumberOfElements(array), bytes, lowByte);
  return made;
}

/// A single number or truth value.
nb::object scalar(const vlArray* array, const ElementType& type) {
  void* const data = vlGetData(array);
  if (type.classId == vlDOUBLE_CLASS) return nb::float_(*static_cast<const double*>(data));
  if (type.classId == vlLOGICAL_CLASS) return nb::bool_(*static_cast<const vlLogical*>(data) != 0);
  const nb::object descr =
      checked(reinterpret_cast<PyObject*>(PyArray_DescrFromType(type.numpyType)));
  return checked(PyArray_Scalar(data, reinterpret_cast<PyArray_Descr*>(descr.ptr()), nullptr));
}

void destroyInCapsule(PyObject* capsule) {
  vlhost::destroy(static_cast<vlArray*>(PyCapsule_GetPointer(capsule, nullptr)));
}

/// The array that a call handed out: destroyed here, or by the last NumPy array that looks at its
/// memory or at that of a value in it.
class Owner {
 public:
  explicit Owner(vlhost::Array array) : array_(std::move(array)) {}
  const vlArray* array() const { return array_.get(); }

  nb::object share() {
    if (!capsule_.is_valid()) {
      capsule_ = checked(PyCapsule_New(array_.get(), nullptr, destroyInCapsule));
      static_cast<void>(array_.release());
    }
    return capsule_;
  }

 private:
  vlhost::Array array_;
  nb::object capsule_;
};

/// A NumPy array over the host array's memory.
nb::object view(const vlArray* array, const ElementType& type, Owner& owner) {
  std::vector<npy_intp> shape = shapeOf(array);
  const bool empty = vlGetNumberOfElements(array) == 0;
  nb::object made = checked(PyArray_New(&PyArray_Type, static_cast<int>(shape.size()), shape.data(),
                                        type.numpyType, nullptr, empty ? nullptr : vlGetData(array),
                                        0, NPY_ARRAY_FARRAY, nullptr));
  if (empty) return made;
  auto* const result = reinterpret_cast<PyArrayObject*>(made.ptr());
  if (PyArray_SetBaseObject(result, owner.share().release().ptr()) != 0) throw nb::python_error();
  return made;
}

nb::object numbers(const vlArray* array, Owner& owner) {
  const vlClassID classId = vlGetClassID(array);
  const auto type = std::find_if(kElementTypes.begin(), kElementTypes.end(),
                                 [&](const ElementType& row) { return row.classId == classId; });
  if (type == kElementTypes.end()) {
    PyErr_Format(PyExc_TypeError, "the plug-in gave an array of class %s", vlGetClassName(array));
    throw nb::python_error();
  }
  return isScalar(array) ? scalar(array, *type) : view(array, *type, owner);
}

nb::object convert(const vlArray* array, Owner& owner);

nb::object list(const vlArray* cell, Owner& owner) {
  nb::list values;
  for (std::size_t i = 0; i < vlGetNumberOfElements(cell); ++i) {
    const vlArray* const value = vlhost::cellValue(cell, i);
    values.append(value == nullptr ? nb::none() : convert(value, owner));
  }
  return values;
}

nb::object convert(const vlArray* array, Owner& owner) {
  switch (vlGetClassID(array)) {
    case vlCELL_CLASS:
      return list(array, owner);
    case vlCHAR_CLASS:
      return isRow(array) ? charRow(array) : charArray(array);
    default:
      return numbers(array, owner);
  }
}

}  // namespace

nb::object toPython(vlhost::Array array) {
  Owner owner(std::move(array));
  return convert(owner.array(), owner);
}

}  // namespace pyhost
