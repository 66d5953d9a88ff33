/// Memory that one process writes and another one looks at.
#pragma once

#include <cstddef>
#include <nanobind/nanobind.h>
#include <stdexcept>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <vector>

namespace pyhost {

namespace nb = nanobind;

/// What came is no message.
struct MessageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Raises the OSError of that number.
[[noreturn]] void raiseSystemError(int error);

/// An open file, closed at the end.
class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }
  /// What a system call opened; raises OSError if it failed.
  static Descriptor opened(int number);
  int number() const { return number_; }

 private:
  int number_;
};

/// A memory file that has these bytes and keeps them. Raises OSError.
Descriptor makeMemoryFile(std::vector<std::string_view> pieces);

/// A writable uint8 array over a memory file; what is written to it does not reach the file, which
/// may be closed afterwards. Raises MessageError for a file that may change, or has not all its
/// memory already.
nb::object mapMemoryFile(const Descriptor& file);

}  // namespace pyhost
