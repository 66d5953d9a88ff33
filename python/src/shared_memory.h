/// Arrays over memory that another process wrote.
#pragma once

#include <cstddef>
#include <nanobind/nanobind.h>

namespace pyhost {

namespace nb = nanobind;

/// A writable uint8 array over the first `size` bytes of a file; what is written to it does not
/// reach the file. The descriptor may be closed afterwards. `size` is not 0 and the file never gets
/// smaller, or a look at the array ends the process. Raises OSError.
nb::object mapMemory(int descriptor, std::size_t size);

}  // namespace pyhost
