/// Runs one known fault of the CDF library in a process of its own and says what was seen.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "cdf/library.h"

namespace tarvik::faults {

inline constexpr long CDF_INT1 = 1, CDF_INT2 = 2, CDF_INT4 = 4, CDF_DOUBLE = 45, CDF_CHAR = 51,
                      CDF_UCHAR = 52;
inline constexpr long MD5_CHECKSUM = 1;

/// What the library did. A crash, a hang and an overrun end the process of the fault.
enum class Seen {
  nothing,      ///< The library did what was asked, or refused it.
  wrongValues,  ///< It answered "done", and gives other values or facts than were written.
  otherObject,  ///< It acted on another file or variable than the one named.
  deadHandle,   ///< It answers -2077 to every later call on the file.
  lostFile,     ///< The file cannot be opened again.
  overrun,      ///< It went past the end of the caller's memory.
  crash,
  hang,
};

struct Fault {
  /// A sequence for follow(), or a function of its own.
  Fault(const char* rowName, const char* cause, const char* sequence)
      : name(rowName), trigger(cause), steps(sequence) {}
  Fault(const char* rowName, const char* cause, Seen (*function)())
      : name(rowName), trigger(cause), run(function) {}

  const char* name;
  const char* trigger;
  const char* steps = nullptr;
  Seen (*run)() = nullptr;
};

extern const std::vector<Fault> numberFaults, nameFaults, storageFaults;

/// Runs the fault in a child with its own folder and limits, `times` times or until it is seen.
Seen observe(const Fault& fault, int times);
const char* nameOf(Seen seen);

/// Carries out steps on a new file, closes it, opens it again and compares what was written. The
/// steps are separated by ";". V is the number of a variable, R of a record.
///
///   new TYPE [SIZE...]   fixed TYPE [SIZE...]    a variable; one whose records do not vary
///   put V R [COUNT [INTERVAL]]   get V R [COUNT [INTERVAL]]   value V R   records; one value
///   delete V R R   drop V   allocate V R R       records; the variable; a block
///   gzip V   rle V   huff V   plain V            its compression
///   sparse V   block V N                         its sparse records; its blocking factor
///   file rle   file plain   checksum   stage N   reopen   room
///
/// The last line is about the file: "stage" sets the buffers of the scratch file, "room" makes
/// free room by deleting a new attribute.
Seen follow(const char* steps);

/// Lowers a limit of this process: bytes of a file, or bytes of memory.
void limitFiles(std::size_t bytes);
void limitMemory(std::size_t bytes);

/// Zeroed memory that ends at a page which stops any access. Memory not touched costs nothing.
class Guarded {
 public:
  explicit Guarded(std::size_t bytes);
  /// The last bytes of it, all of them unless a number is given.
  char* last(std::size_t bytes) const { return end_ - bytes; }
  char* data() const { return end_ - bytes_; }

 private:
  char* end_;
  std::size_t bytes_;
};

/// A part of a variable's records.
struct Slab {
  long start, count, interval;
  std::vector<long> indices, counts, intervals;
};

/// A file in the current folder.
struct File {
  explicit File(const char* name = "f");

  long variable(long datatype, std::vector<long> sizes = {}, long recVary = VARY,
                long varies = VARY, const std::string& name = "");
  long attribute(const std::string& name) const;
  CDFstatus compress(long variable, long type) const;
  /// One value, at the first index of each dimension. `function` is GET_ or PUT_.
  CDFstatus value(long variable, long function, long record, void* value) const;
  CDFstatus slab(long variable, long function, const Slab& slab, void* values) const;
  CDFstatus close() const;
  CDFstatus reopen();
  /// Closes the file and opens it again.
  Seen fate();

  template <typename... Arguments>
  CDFstatus on(Arguments... arguments) const {
    return cdf::onFile(id, arguments...);
  }

  CDFid id = nullptr;
  std::string path;
};

}  // namespace tarvik::faults
