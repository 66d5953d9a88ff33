#include "python/src/shared_memory.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include "python/src/numpy.h"

namespace pyhost {
namespace {

constexpr off_t kBlockBytes = 512;  // of those that stat() counts
// Sealed against what would make an array that lies there change, or its memory go away.
constexpr int kSeals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE;

struct Mapping {
  void* memory;
  std::size_t size;
  ~Mapping() { munmap(memory, size); }
};

/// Gives the error's number.
int writeAll(int file, std::vector<std::string_view>& pieces) {
  const nb::gil_scoped_release others;
  for (std::string_view& piece : pieces) {
    while (!piece.empty()) {
      const ssize_t count = write(file, piece.data(), piece.size());
      if (count < 0) return errno;
      piece.remove_prefix(static_cast<std::size_t>(count));
    }
  }
  return 0;
}

}  // namespace

void raiseSystemError(int error) {
  errno = error;
  PyErr_SetFromErrno(PyExc_OSError);
  throw nb::python_error();
}

Descriptor Descriptor::opened(int number) {
  if (number < 0) raiseSystemError(errno);
  return Descriptor(number);
}

Descriptor makeMemoryFile(std::vector<std::string_view> pieces) {
  Descriptor file = Descriptor::opened(memfd_create("tarvik", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  if (const int error = writeAll(file.number(), pieces)) raiseSystemError(error);
  if (fcntl(file.number(), F_ADD_SEALS, kSeals) != 0) raiseSystemError(errno);
  return file;
}

nb::object mapMemoryFile(const Descriptor& file) {
  const int seals = fcntl(file.number(), F_GET_SEALS);
  struct stat facts {};
  if (seals < 0 || (seals & kSeals) != kSeals || fstat(file.number(), &facts) != 0) {
    throw MessageError("no sealed memory file");
  }
  // Where nothing was written, memory would be taken as the array is looked at.
  if (facts.st_size == 0 || facts.st_blocks * kBlockBytes < facts.st_size) {
    throw MessageError("a memory file with gaps");
  }
  const auto size = static_cast<std::size_t>(facts.st_size);
  void* const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE, file.number(), 0);
  if (memory == MAP_FAILED) throw MessageError(std::strerror(errno));
  nb::capsule owner(new Mapping{memory, size},
                    [](void* mapping) noexcept { delete static_cast<Mapping*>(mapping); });
  npy_intp length = facts.st_size;
  nb::object array = nb::steal(PyArray_New(&PyArray_Type, 1, &length, NPY_UINT8, nullptr, memory, 0,
                                           NPY_ARRAY_CARRAY, nullptr));
  if (!array.is_valid()) throw nb::python_error();
  auto* const made = reinterpret_cast<PyArrayObject*>(array.ptr());
  if (PyArray_SetBaseObject(made, owner.release().ptr()) != 0) throw nb::python_error();
  return array;
}

}  // namespace pyhost
