/// The gateway as a host calls it, and files that are open in it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/direct.h"
#include "runtime/host.h"

namespace bench {

using vlhost::Array;

Array number(double value);
/// A column of numbers.
Array list(const std::vector<double>& values);
Array text(const std::string& value);
/// The identifier under which the gateway knows the handle.
Array identifier(CDFid file);
/// A new array of the char or double class.
Array unfilled(vlClassID classId, const std::vector<std::size_t>& dims);
/// The same with values that repeat after some hundreds, so that they can be compressed.
Array filled(vlClassID classId, const std::vector<std::size_t>& dims);

/// An operation of the loaded plug-in. Its name is made once, as a host keeps the names of a
/// program.
class Call {
 public:
  explicit Call(const char* operation);
  /// The first output, or null.
  Array operator()(const std::vector<const vlArray*>& inputs) const;
  /// The call with inputs that are kept elsewhere, ready to be made again and again.
  std::function<void()> with(const std::vector<const vlArray*>& inputs) const;

 private:
  std::shared_ptr<vlArray> name_;
};

/// A file name of the run's own folder, which goes at the end.
std::string path(const std::string& name);

/// A file that is open in the gateway and that the library is called on directly as well. It is
/// closed, and deleted, with the object.
class File {
 public:
  explicit File(const std::string& name);
  ~File();
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  CDFid handle() const { return handle_; }
  const vlArray* id() const { return id_.get(); }

 private:
  Array id_;
  CDFid handle_;
};

}  // namespace bench
