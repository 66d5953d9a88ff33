#include "python/src/convert_in.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "python/src/file_id.h"
#include "python/src/numpy.h"

namespace pyhost {
namespace {

/// Whole numbers up to this size are exact as doubles.
constexpr long long kLargestExact = 1LL << 53;

/// Reads a Python number that a double holds exactly; false leaves it to the slow way.
bool readNumber(PyObject* value, double& number) {
  if (!PyLong_Check(value)) {  // the cheapest test of all
    if (!PyFloat_Check(value)) return false;
    number = PyFloat_AS_DOUBLE(value);
    return true;
  }
  if (PyBool_Check(value)) return false;
  int overflow = 0;
  const long long whole = PyLong_AsLongLongAndOverflow(value, &overflow);
  number = static_cast<double>(whole);
  return overflow == 0 && -kLargestExact <= whole && whole <= kLargestExact;
}

vlhost::Array fromNumber(PyObject* value) {
  double number = 0;
  if (!readNumber(value, number)) return nullptr;
  return vlhost::Array(vlCreateDoubleScalar(number));
}

/// A list or tuple of plain numbers, as a column.
vlhost::Array fromNumbers(PyObject* value) {
  if (!PyList_Check(value) && !PyTuple_Check(value)) return nullptr;
  const auto count = static_cast<std::size_t>(PySequence_Fast_GET_SIZE(value));
  PyObject** const items = PySequence_Fast_ITEMS(value);
  vlhost::Array array(vlCreateNumericMatrix(count, count > 0 ? 1 : 0, vlDOUBLE_CLASS, vlREAL));
  auto* const numbers = static_cast<double*>(vlGetData(array.get()));
  for (std::size_t i = 0; i < count; ++i) {
    if (!readNumber(items[i], numbers[i])) return nullptr;
  }
  return array;
}

vlhost::Array fromBool(PyObject* value) {
  static constexpr vlLogical kValues[] = {0, 1};
  if (!PyBool_Check(value)) return nullptr;
  return vlhost::borrow({1, 1}, vlLOGICAL_CLASS, &kValues[value == Py_True]);
}

vlhost::Array fromBytes(PyObject* value) {
  if (!PyBytes_Check(value)) return nullptr;
  return vlhost::text(
      {PyBytes_AS_STRING(value), static_cast<std::size_t>(PyBytes_GET_SIZE(value))});
}

vlhost::Array fromText(PyObject* value) {
  if (!PyUnicode_Check(value)) return nullptr;
  Py_ssize_t size = 0;
  if (const char* const utf8 = PyUnicode_AsUTF8AndSize(value, &size)) {
    return vlhost::text({utf8, static_cast<std::size_t>(size)});
  }
  PyErr_Clear();  // holds bytes that are no UTF-8, as a file gave them
  const auto bytes = nb::steal(PyUnicode_AsEncodedString(value, "utf-8", "surrogateescape"));
  if (!bytes.is_valid()) throw nb::python_error();
  return fromBytes(bytes.ptr());
}

/// A NumPy array that a host array can borrow as it lies in memory.
vlhost::Array fromArray(PyObject* value) {
  if (!PyArray_CheckExact(value)) return nullptr;
  auto* const source = reinterpret_cast<PyArrayObject*>(value);
  if (!PyArray_ISFARRAY_RO(source)) return nullptr;

  const char kind = PyArray_DESCR(source)->kind;
  const auto size = PyArray_ITEMSIZE(source);
  const auto type =
      std::find_if(kElementTypes.begin(), kElementTypes.end(),
                   [&](const ElementType& row) { return row.kind == kind && row.size == size; });
  if (type == kElementTypes.end()) return nullptr;

  const npy_intp* const shape = PyArray_DIMS(source);
  std::vector<std::size_t> dims(shape, shape + PyArray_NDIM(source));
  if (dims.empty()) dims = {1, 1};
  return vlhost::borrow(dims, type->classId, PyArray_DATA(source));
}

/// In the order of how often they are wanted.
constexpr std::array kDirectWays = {fromNumber,  fromArray, fromText,
                                    fromNumbers, fromBool,  fromBytes};

/// Characters in storage order, and the dimensions of their array.
vlhost::Array charArray(const nb::bytes& characters, const nb::tuple& shape) {
  std::vector<std::size_t> dims;
  for (nb::handle extent : shape) dims.push_back(nb::cast<std::size_t>(extent));
  vlhost::Array array(vlCreateCharArray(dims.size(), dims.data()));
  const std::string_view bytes(characters.c_str(), characters.size());
  auto* const elements = static_cast<vlChar*>(vlGetData(array.get()));
  std::transform(bytes.begin(), bytes.end(), elements,
                 [](char byte) { return static_cast<unsigned char>(byte); });
  return array;
}

/// Files are made by this module alone, so there are none of a derived class; to ask nanobind takes
/// two look-ups. One of which only `__new__` was called stands for no file.
bool isFile(nb::handle value) {
  static const nb::handle fileType = nb::type<FileId>();
  return value.type().is(fileType) && nb::inst_ready(value);
}

nb::object convertModule() {
  return nb::module_::import_("tarvik._convert");
}

/// A NumPy integer as a double, if that holds it exactly.
vlhost::Array fromNumPyInteger(PyObject* value) {
  if (!PyArray_IsScalar(value, Integer)) return nullptr;
  const auto whole = nb::steal(PyNumber_Index(value));
  if (whole.is_valid()) return fromNumber(whole.ptr());
  PyErr_Clear();  // is a time
  return nullptr;
}

/// Bit n is set if input n of the operation is a number, which may be of any class.
std::uint64_t numberInputs(nb::handle operation) {
  return nb::cast<std::uint64_t>(convertModule().attr("number_inputs")(operation));
}

/// Whether it is an array of a class that the gateway refuses for a number.
bool isArrayOfOtherClass(PyObject* value) {
  if (!PyArray_CheckExact(value)) return false;
  const int type = PyArray_TYPE(reinterpret_cast<PyArrayObject*>(value));
  return type != NPY_DOUBLE && type != NPY_BOOL;
}

struct Name {
  vlhost::Array array;
  std::optional<std::uint64_t> numberInputs;  ///< Asked for when it is needed: that takes long.
};

/// What is known of an operation, if Python has interned its name, as it does with those in a
/// program's text: they are few and come again and again. Kept for ever, like the name itself, and
/// guarded by the interpreter's lock. Null for any other value.
Name* keptName(PyObject* value) {
  constexpr std::size_t kMostNames = 256;
  static auto* const names = new std::unordered_map<PyObject*, Name>;
  const auto known = names->find(value);
  if (known != names->end()) return &known->second;
  if (!PyUnicode_CheckExact(value) || !PyUnicode_CHECK_INTERNED(value)) return nullptr;
  if (names->size() == kMostNames) return nullptr;
  const auto added = names->emplace(value, Name{fromText(value), std::nullopt}).first;
  Py_INCREF(value);
  return &added->second;
}

}  // namespace

Inputs::Inputs(nb::handle gateway, const Arguments& arguments) {
  arrays_.reserve(arguments.count);
  std::size_t position = 0;
  for (PyObject* argument : arguments) add(gateway, argument, position++, *arguments.first);
}

void Inputs::add(nb::handle gateway, nb::handle value, std::size_t position, nb::handle operation) {
  if (Name* name = position == 0 ? keptName(value.ptr()) : nullptr) {
    arrays_.push_back(name->array.get());
    numberInputs_ = &name->numberInputs;
    return;
  }
  if (isFile(value)) {
    arrays_.push_back(nb::inst_ptr<FileId>(value)->inputFor(gateway));
    return;
  }
  if (isArrayOfOtherClass(value.ptr()) && isNumber(position, operation)) {
    return addSlowly(value, position, operation);
  }
  for (const auto way : kDirectWays) {
    if (vlhost::Array array = way(value.ptr())) return own(std::move(array));
  }
  addSlowly(value, position, operation);
}

bool Inputs::isNumber(std::size_t position, nb::handle operation) {
  if (!*numberInputs_) *numberInputs_ = numberInputs(operation);
  constexpr std::size_t kMostInputs = std::numeric_limits<std::uint64_t>::digits;
  return position < kMostInputs && (**numberInputs_ >> position & 1) != 0;
}

void Inputs::own(vlhost::Array array) {
  arrays_.push_back(array.get());
  owned_.push_back(std::move(array));
}

void Inputs::addSlowly(nb::handle value, std::size_t position, nb::handle operation) {
  const bool number = isNumber(position, operation);
  if (number) {
    if (vlhost::Array array = fromNumPyInteger(value.ptr())) return own(std::move(array));
  }
  nb::object made = convertModule().attr("to_host")(value, operation, position, number);
  if (nb::isinstance<nb::tuple>(made)) {
    return own(charArray(nb::cast<nb::bytes>(made[0]), nb::cast<nb::tuple>(made[1])));
  }
  own(fromArray(made.ptr()));
  kept_.push_back(std::move(made));
}

}  // namespace pyhost
