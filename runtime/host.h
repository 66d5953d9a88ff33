/// A host for plug-ins, for C++ programs: loads a plug-in, calls it with arrays and hands back its
/// arrays, or its error as an exception.
///
///     vlhost::Plugin gateway("lib/tarvik/tarvik.so");
///     vlhost::Array name = vlhost::text("open"), file = vlhost::text("x.cdf");
///     vlhost::Result opened = gateway.call({name.get(), file.get()}, 1);
///
/// One call runs at a time in the process; a second thread waits for it. What a call warned of
/// before it failed, like every warning that no caller gets, is shown on the standard error.
#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "host/array.h"

#define VLHOST_API __attribute__((visibility("default")))

namespace vlhost {

/// An error that the plug-in or the host raised; what() is the message.
class VLHOST_API Error : public std::runtime_error {
 public:
  Error(std::string identifier, const std::string& message);
  const std::string& identifier() const { return identifier_; }

 private:
  std::string identifier_;
};

struct Warning {
  std::string identifier;
  std::string message;
};

/// Releases an array, and with a cell all that it holds. Null is allowed.
VLHOST_API void destroy(vlArray* array);

struct Destroyer {
  void operator()(vlArray* array) const { destroy(array); }
};

/// An array owned by the program. The functions of host/array.h that create arrays, called outside
/// a plug-in's call, give arrays to be kept in one of these.
using Array = std::unique_ptr<vlArray, Destroyer>;

/// A char row with one element for every byte of `bytes`, NUL bytes included.
VLHOST_API Array text(std::string_view bytes);

/// A numeric or logical array over memory that the program keeps alive and unchanged until the
/// array is destroyed; nothing is copied. Used for inputs. Raises "VORLAN:badArray" for a class
/// that is neither numeric nor logical.
VLHOST_API Array borrow(const std::vector<std::size_t>& dims, vlClassID classId, const void* data);

/// The value stored in a cell; null where none was stored or `cell` is no cell array.
VLHOST_API const vlArray* cellValue(const vlArray* cell, std::size_t index);

/// What a successful call gave: the first max(1, asked) outputs that were filled, in the order of
/// the slots. "VORLAN:badOutput" is raised instead for a filled slot behind an empty one among
/// them, and wherever a slot holds what is not its own: an array that is in another slot or in a
/// cell, or that the call did not make.
struct Result {
  std::vector<Array> outputs;
  std::vector<Warning> warnings;
};

/// One loaded plug-in. Destroying it unloads it; what the exit handler warned of is shown.
///
/// A file is in the process once, with one state and one exit handler, however many objects load
/// it: the handler runs when the last of them goes. A plug-in cannot load, call or unload plug-ins
/// ("VORLAN:recursiveCall").
class VLHOST_API Plugin {
 public:
  /// Loads a plug-in. Raises "VORLAN:invalidPlugin", with the loader's words, for a file that
  /// cannot be loaded or has no entry, and in a process where another host exports the functions of
  /// host/array.h first.
  explicit Plugin(const std::filesystem::path& file);
  ~Plugin();
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;

  /// Calls the plug-in. An error of the plug-in or the host ends it with Error; memory that a
  /// plug-in could not allocate by itself is "VORLAN:outOfMemory" too, any other exception of its
  /// own "VORLAN:pluginException". Nothing that the failed call made is left.
  Result call(const std::vector<const vlArray*>& inputs, int numOutputs);

  /// Runs the exit handler and takes the plug-in out of the process; gives what the handler warned
  /// of, an error that ended it among that. Calling again does nothing; a call() after it raises
  /// "VORLAN:pluginUnloaded".
  std::vector<Warning> unload();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

/// Arrays and blocks that are alive in the process, the values in cells included: what a test
/// compares before and after.
struct Holdings {
  std::size_t arrays;
  std::size_t blocks;
};
VLHOST_API Holdings holdings();

/// Gives back to the system what the host keeps of freed large arrays for the next ones: up to
/// 512 MiB, and nothing in a process whose address space or data are limited. The system takes that
/// by itself once memory is short; until then it counts as the process's.
VLHOST_API void giveBackSpareMemory();

/// Makes the n-th allocation from now (0 is the next one) of an array or a block fail with
/// "VORLAN:outOfMemory"; a negative n takes that back. For tests of what happens then.
VLHOST_API void failAllocation(long n);

}  // namespace vlhost
