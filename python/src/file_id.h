/// What Python holds of an open file.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <nanobind/nanobind.h>
#include <string>

#include "runtime/host.h"

namespace pyhost {

namespace nb = nanobind;

/// One open file, known to the gateway that opened it and to the FileId that stands for it.
///
/// The CDF library gives the value of a closed handle to the next file at once. A call therefore
/// gets the handle as an array over this object's own memory: the plug-in reads it while it has the
/// one lock, and finds 0, which no file has, from the moment on when the file was closed under the
/// same lock.
class FileState {
 public:
  FileState(std::uint64_t handle, std::string name);

  const vlArray* input() const { return input_.get(); }
  /// The file's name as it was given, undecoded.
  const std::string& name() const { return name_; }
  bool isOpen() const { return open_; }
  /// Only with the call lock held.
  void markClosed();

 private:
  std::uint64_t handle_;  ///< Guarded by the call lock.
  std::atomic<bool> open_{true};
  std::string name_;
  vlhost::Array input_;
};

/// The Python object. It never closes the file by itself when it goes: that writes, may fail, and
/// would happen at a moment that nobody chose. It warns instead, as Python's own files do.
class FileId {
 public:
  FileId(nb::object gateway, std::shared_ptr<FileState> state);
  ~FileId();
  FileId(const FileId&) = delete;
  FileId& operator=(const FileId&) = delete;

  /// The file identifier for a call of that gateway. Raises invalidFileId, as the plug-in does for
  /// what is no file of its own, where another gateway opened the file.
  const vlArray* inputFor(nb::handle gateway) const;
  const nb::object& gateway() const { return gateway_; }
  /// For a file in another process: it was closed there, or that ended with it.
  void markClosed(bool lost) {
    lost_ = lost;
    state_->markClosed();
  }
  bool isOpen() const { return state_->isOpen(); }
  bool isLost() const { return lost_; }
  nb::str name() const;
  nb::str repr() const;

 private:
  bool lost_ = false;
  nb::object gateway_;
  std::shared_ptr<FileState> state_;
};

}  // namespace pyhost
