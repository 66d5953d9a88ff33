#include "bench/session.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace bench {

namespace {

vlhost::Plugin& plugin() {
  static vlhost::Plugin loaded(GATEWAY);
  return loaded;
}

/// The folder of the run.
struct Folder {
  std::filesystem::path path;
  Folder() {
    std::string name = (std::filesystem::temp_directory_path() / "bench-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) std::abort();
    path = name;
  }
  ~Folder() { std::filesystem::remove_all(path); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
};

}  // namespace

Array number(double value) {
  return Array(vlCreateDoubleScalar(value));
}

Array list(const std::vector<double>& values) {
  Array made(vlCreateNumericMatrix(values.size(), values.empty() ? 0 : 1, vlDOUBLE_CLASS, vlREAL));
  std::copy(values.begin(), values.end(), static_cast<double*>(vlGetData(made.get())));
  return made;
}

Array text(const std::string& value) {
  return vlhost::text(value);
}

Array identifier(CDFid file) {
  const std::size_t dims[] = {1, 1};
  Array made(vlCreateNumericArray(2, dims, vlUINT64_CLASS, vlREAL));
  std::memcpy(vlGetData(made.get()), &file, sizeof(file));
  return made;
}

Array unfilled(vlClassID classId, const std::vector<std::size_t>& dims) {
  return Array(classId == vlCHAR_CLASS
                   ? vlCreateCharArray(dims.size(), dims.data())
                   : vlCreateNumericArray(dims.size(), dims.data(), classId, vlREAL));
}

Array filled(vlClassID classId, const std::vector<std::size_t>& dims) {
  Array made = unfilled(classId, dims);
  const std::size_t count = vlGetNumberOfElements(made.get());
  if (classId == vlCHAR_CLASS) {
    auto* units = static_cast<vlChar*>(vlGetData(made.get()));
    for (std::size_t i = 0; i < count; ++i) units[i] = static_cast<vlChar>('a' + i % 23);
  } else {
    auto* doubles = static_cast<double*>(vlGetData(made.get()));
    for (std::size_t i = 0; i < count; ++i) doubles[i] = static_cast<double>(i % 997) * 0.25;
  }
  return made;
}

Call::Call(const char* operation) : name_(vlhost::text(operation)) {}

Array Call::operator()(const std::vector<const vlArray*>& inputs) const {
  std::vector<const vlArray*> arguments;
  arguments.reserve(inputs.size() + 1);
  arguments.push_back(name_.get());
  arguments.insert(arguments.end(), inputs.begin(), inputs.end());
  vlhost::Result result = plugin().call(arguments, 1);
  return result.outputs.empty() ? nullptr : std::move(result.outputs[0]);
}

std::function<void()> Call::with(const std::vector<const vlArray*>& inputs) const {
  std::vector<const vlArray*> arguments = {name_.get()};
  arguments.insert(arguments.end(), inputs.begin(), inputs.end());
  return [arguments, name = name_] { plugin().call(arguments, 1); };
}

std::string path(const std::string& name) {
  static const Folder folder;
  return (folder.path / name).string();
}

File::File(const std::string& name) : id_(Call("create")({text(path(name)).get()})) {
  std::memcpy(&handle_, vlGetData(id_.get()), sizeof(handle_));
}

File::~File() {
  Call("delete")({id_.get()});
}

}  // namespace bench
