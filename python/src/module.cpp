/// The extension module tarvik._host.
#include <nanobind/nanobind.h>
#include <nanobind/stl/string.h>

#include "python/src/file_id.h"
#include "python/src/function.h"
#include "python/src/gateway.h"
#include "python/src/provider.h"
#include "python/src/remote.h"
#include "python/src/visit.h"
#include "runtime/host.h"

#define TARVIK_IMPORT_NUMPY
#include "python/src/numpy.h"

namespace nb = nanobind;
using pyhost::Arguments;
using pyhost::FileId;
using pyhost::Gateway;

namespace {

constexpr const char* kGatewayDoc = R"(One loaded plug-in.

Parameters
----------
plugin : str
    The plug-in's file.
)";

constexpr const char* kCallDoc = R"(Call one operation of the gateway.

Calls are made one at a time: a second thread waits. Other Python threads run
while one waits or the operation is at work.

Parameters
----------
operation : str
    The operation's name, "open" or "getVarData" for example.
*inputs
    The operation's inputs. A `str` or `bytes` is a char row, one element a byte
    (a `str` in UTF-8); `True` and `False` and arrays of them are logical; Python
    numbers, and lists of them, are double; NumPy's integers and floats, and arrays
    of them, keep their class as values, and become double where the operation
    wants a number; arrays of `S` or `U` strings are char arrays whose first
    dimension is the string length, shorter strings filled with blanks; a path is a
    file name; a `FileId` is the file that it stands for. A one-dimensional array is
    a column. A Fortran-contiguous array of values is passed without a copy.

Returns
-------
object
    None, one output, or a tuple of several. A 1-by-1 double is a `float`, another
    1-by-1 number a NumPy scalar, a 1-by-1 logical a `bool`; a char row is a `str`
    (bytes that are no UTF-8 are kept by "surrogateescape"); other char arrays are
    `S1` arrays, a cell is a list, a file a `FileId`. Numbers come as NumPy arrays
    in Fortran order over the memory that the CDF library wrote them to.

Raises
------
CDFError
    The gateway or the CDF library refused the call.
TypeError, ValueError, OverflowError
    An input is nothing that the gateway could be given.
)";

constexpr const char* kFileIdDoc = R"(An open CDF file.

Made by the operations "open" and "create". Used in a `with` statement it closes
the file at the end, which raises when it was lost with the process of an isolated
gateway. A file that is never closed is closed when Python exits, with
a warning; `FileId` warns of that with a `ResourceWarning` when it is collected.

Two are equal when they are the same object. Neither can it be pickled or copied,
nor used in the child of a fork: an open file belongs to one process.

Attributes
----------
name : str
    The file's name as it was given.
closed : bool
    Whether the file was closed or deleted. A closed `FileId` never reaches the CDF
    library again.
)";

constexpr const char* kGiveBackMemoryDoc = R"(Give back to the system what is kept of large arrays.

Memory of arrays of 1 MiB and more that are gone serves the next ones, which are read
faster into it. Up to 512 MiB are kept, and nothing where the process has a limit on its
memory (`ulimit -v` or `-d`). It counts as the process's, although the system takes it
by itself when memory is short.
)";

/// What a Python object of that class holds; nothing if only its `__new__` was called.
template <typename Class>
Class* objectIn(nb::handle self) {
  if (!nb::inst_ready(self)) throw nb::type_error("the object was never initialised");
  return nb::inst_ptr<Class>(self);
}

/// Closing a file that was lost raises, and says so; not so where an exception already ends the
/// block.
void closeAtExit(nb::handle self, bool raising) {
  const auto* const file = objectIn<FileId>(self);
  if (!file->isOpen() && (raising || !file->isLost())) return;
  file->gateway().attr("call")("close", self);
}

void refuseCopy(nb::handle, nb::handle) {
  throw nb::type_error(
      "a FileId stands for a file that is open in this process: it can be neither pickled nor "
      "copied");
}

FileId* makeFile(nb::object gateway, std::uint64_t number, const nb::bytes& name) {
  const std::string bytes(name.c_str(), name.size());
  return new FileId(std::move(gateway), std::make_shared<pyhost::FileState>(number, bytes));
}

Arguments argumentsIn(const nb::args& arguments) {
  return {PySequence_Fast_ITEMS(arguments.ptr()), arguments.size()};
}

/// What a gateway is made of whose plug-in is in another process.
void addRemoteFiles(nb::module_& m) {
  m.def("make_file", &makeFile, nb::rv_policy::take_ownership,
        "A file that is open in another process, under a number that is not 0.");
  m.def("mark_closed", &FileId::markClosed, nb::arg("file"), nb::kw_only(), nb::arg("lost"),
        "Note that the file was closed there, or was lost as that process ended.");
  m.def("is_lost", &FileId::isLost, "Whether the file was lost as that process ended.");
  m.def(
      "number_of",
      [](const FileId& file, nb::handle gateway, const nb::args& arguments) {
        return Gateway::numberOf(file, gateway, argumentsIn(arguments));
      },
      "The file's number, 0 for a closed one; file, gateway, then the call's arguments.");
  pyhost::addTurn(m);
  pyhost::addChannel(m);
}

}  // namespace

NB_MODULE(_host, m) {
  if (PyArray_ImportNumPyAPI() < 0) throw nb::python_error();
  // Files and arrays may well outlive the interpreter; that is no fault.
  nb::set_leak_warnings(false);
  m.attr("__version__") = TARVIK_VERSION;
  m.attr("ZLIB_VERSIONS") = TARVIK_ZLIB_VERSIONS;

  nb::class_<Gateway>(m, "Gateway", kGatewayDoc)
      .def(nb::init<const std::string&>(), nb::arg("plugin"))
      .def(nb::init<nb::object>(), nb::arg("remote"))
      .def(
          "call",
          [](nb::handle_t<Gateway> self, const nb::args& arguments) {
            const pyhost::Visit visit;
            return objectIn<Gateway>(self)->call(self, argumentsIn(arguments));
          },
          nb::sig("def call(self, operation: str, /, *inputs: object) -> object"), kCallDoc)
      .def("unload", &Gateway::unload,
           "Take the plug-in out of the process; it closes the files that are open.");

  nb::class_<FileId>(m, "FileId", kFileIdDoc, nb::is_weak_referenceable())
      .def_prop_ro("name", &FileId::name)
      .def_prop_ro("closed", [](const FileId& self) { return !self.isOpen(); })
      .def("__enter__", [](nb::handle_t<FileId> self) { return nb::borrow(self); })
      .def("__exit__",
           [](nb::handle_t<FileId> self, const nb::args& exception) {
             closeAtExit(self, exception.size() > 0 && !exception[0].is_none());
           })
      .def("__repr__", &FileId::repr)
      .def("__reduce_ex__", &refuseCopy);

  addRemoteFiles(m);
  m.def(
      "make_function",
      [](nb::handle module, nb::handle_t<Gateway> gateway, nb::str name, nb::object arrange,
         nb::object finish, std::string doc) {
        return pyhost::makeFunction(
            module, {nb::borrow(gateway), std::move(name), std::move(arrange), std::move(finish)},
            std::move(doc));
      },
      nb::arg("module"), nb::arg("gateway"), nb::arg("name"), nb::arg("arrange"),
      nb::arg("finish").none(), nb::arg("doc"), "A function of the module for one operation.");
  m.def("give_back_memory", &vlhost::giveBackSpareMemory, nb::sig("def give_back_memory() -> None"),
        kGiveBackMemoryDoc);
  m.def("provider_of", &pyhost::providerOf, nb::arg("plugin"), nb::arg("member"),
        nb::arg("function"),
        "The file of the library that serves the calls of `function` in that one of a loaded "
        "plug-in's libraries which defines `member`; empty if it makes no such calls.");
  m.def("leave", &Gateway::leave, "Unload all gateways, when Python ends.");
  m.def("before_fork", &Gateway::beforeFork, "Wait for the running call and hold the next ones.");
  m.def("after_fork_in_parent", &Gateway::afterForkInParent, "Let calls go on.");
  m.def("after_fork_in_child", &Gateway::afterForkInChild, "Give up the parent's files.");
}
