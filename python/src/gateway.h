/// One loaded plug-in, as Python calls it.
#pragma once

#include <cstdint>
#include <memory>
#include <nanobind/nanobind.h>
#include <string>
#include <unordered_map>
#include <vector>

#include "python/src/arguments.h"
#include "python/src/convert_in.h"
#include "python/src/file_id.h"
#include "runtime/host.h"

namespace pyhost {

namespace nb = nanobind;

/// Calls of all gateways are made one at a time, under one lock of the process: the CDF library
/// that they share knows no threads. Who waits for it has let go of the interpreter's lock, and no
/// Python object is touched while it is held.
class Gateway {
 public:
  /// Loads the plug-in in that file; what the host refuses there is a CDFError.
  explicit Gateway(const std::string& plugin);
  /// Stands for a plug-in in another process. Calls and the unloading are left to `remote`, a
  /// Python object with `call(gateway, *arguments)` and `unload()`.
  explicit Gateway(nb::object remote);
  ~Gateway();
  Gateway(const Gateway&) = delete;
  Gateway& operator=(const Gateway&) = delete;

  /// Calls the operation that the first argument names with the other arguments. `self` is the
  /// Python object of this gateway. What the plug-in warns of is shown afterwards. Whoever calls
  /// this is a Visit.
  nb::object call(nb::handle self, const Arguments& arguments);

  /// Takes the plug-in out of the process, which closes the files that are open; a call after it
  /// is an error.
  void unload();

  /// The number that makeFile() was given, or 0 when the file is closed. Raises CDFError for a file
  /// of another gateway; `arguments` are those of the call.
  static std::uint64_t numberOf(const FileId& file, nb::handle gateway, const Arguments& arguments);

  /// Unloads all gateways when Python ends. Until then every running call is waited for; from then
  /// on a call is an error for the thread that ends Python, and lasts for ever on any other.
  static void leave();

  /// Around a fork. The child must not close what its parent writes to, so there the files of the
  /// parent are closed for every FileId, and the plug-in is not unloaded.
  static void beforeFork();
  static void afterForkInParent();
  static void afterForkInChild();

 private:
  struct Outcome {
    vlhost::Result result;
    std::shared_ptr<FileState> opened;
  };

  Outcome run(const Inputs& inputs);
  std::shared_ptr<FileState> noteFiles(const Inputs& inputs, const vlhost::Result& result);
  void noteClosed(std::uint64_t handle);
  std::vector<vlhost::Warning> shutDown();
  /// Closes the files one by one, as the plug-in would do when it goes, to tell which could not be.
  void closeFiles(std::vector<vlhost::Warning>& warnings);
  void unloadPlugin(std::vector<vlhost::Warning>& warnings);
  void disown();

  std::unique_ptr<vlhost::Plugin> plugin_;
  nb::object remote_;
  /// The open files by handle; guarded by the call lock.
  std::unordered_map<std::uint64_t, std::shared_ptr<FileState>> files_;
  bool inherited_ = false;  ///< Whether the plug-in holds files of a parent process.
  bool gone_ = false;       ///< Whether unload was called; guarded by the call lock.
};

}  // namespace pyhost
