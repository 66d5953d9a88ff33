#include "python/src/gateway.h"

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <nanobind/stl/string.h>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "python/src/convert_out.h"
#include "python/src/visit.h"

namespace pyhost {
namespace {

/// More outputs than any operation has.
constexpr int kAllOutputs = 8;

/// Never destroyed: threads that outlive the interpreter may still come to it.
std::mutex& callLock() {
  static auto* const lock = new std::mutex;
  return *lock;
}

/// All that are loaded; guarded by the interpreter's lock.
std::unordered_set<Gateway*>& gateways() {
  static auto* const all = new std::unordered_set<Gateway*>;
  return *all;
}

/// Lets other Python threads run, then waits for the turn to call.
class Turn {
  nb::gil_scoped_release others_;
  std::lock_guard<std::mutex> turn_{callLock()};
};

/// Whether a text argument consists of exactly these characters.
bool spells(const vlArray* text, std::string_view word) {
  if (vlGetClassID(text) != vlCHAR_CLASS || vlGetNumberOfElements(text) != word.size())
    return false;
  const auto* const elements = static_cast<const vlChar*>(vlGetData(text));
  return std::equal(word.begin(), word.end(), elements,
                    [](char a, vlChar b) { return static_cast<unsigned char>(a) == (b & 0xFF); });
}

bool opensFile(const vlArray* operation) {
  return spells(operation, "open") || spells(operation, "create");
}

bool closesFile(const vlArray* operation) {
  return spells(operation, "close") || spells(operation, "delete");
}

std::uint64_t handleIn(const vlArray* identifier) {
  return *static_cast<const std::uint64_t*>(vlGetData(identifier));
}

std::string bytesOf(const vlArray* text) {
  const auto* const elements = static_cast<const vlChar*>(vlGetData(text));
  std::string bytes(vlGetNumberOfElements(text), '\0');
  std::transform(elements, elements + bytes.size(), bytes.begin(),
                 [](vlChar element) { return static_cast<char>(element & 0xFF); });
  return bytes;
}

nb::object errorsModule() {
  return nb::module_::import_("tarvik._errors");
}

/// The gateway is None where it cannot be asked for names.
[[noreturn]] void raise(const vlhost::Error& error, const Arguments& arguments,
                        nb::handle gateway = Py_None) {
  const nb::bytes message(error.what());
  const nb::object exception = errorsModule().attr("gateway_error")(error.identifier(), message,
                                                                    tupleOf(arguments), gateway);
  PyErr_SetObject(exception.type().ptr(), exception.ptr());
  throw nb::python_error();
}

void show(const std::vector<vlhost::Warning>& warnings) {
  if (warnings.empty()) return;
  const nb::object warn = errorsModule().attr("warn");
  for (const vlhost::Warning& warning : warnings) {
    warn(warning.identifier, nb::bytes(warning.message.c_str()));
  }
}

nb::object outputsToPython(std::vector<vlhost::Array>& outputs) {
  if (outputs.empty()) return nb::none();
  if (outputs.size() == 1) return toPython(std::move(outputs.front()));
  nb::list values;
  for (vlhost::Array& output : outputs) values.append(toPython(std::move(output)));
  return nb::tuple(values);
}

std::unique_ptr<vlhost::Plugin> load(const std::string& plugin) {
  try {
    const Turn turn;
    return std::make_unique<vlhost::Plugin>(plugin);
  } catch (const vlhost::Error& error) {
    raise(error, {});
  }
}

}  // namespace

Gateway::Gateway(const std::string& plugin) : plugin_(load(plugin)) {
  gateways().insert(this);
}

Gateway::Gateway(nb::object remote) : remote_(std::move(remote)), gone_(true) {}

Gateway::~Gateway() {
  gateways().erase(this);
  shutDown();
  if (inherited_) static_cast<void>(plugin_.release());
}

nb::object Gateway::call(nb::handle self, const Arguments& arguments) {
  if (remote_.is_valid()) return remote_.attr("call")(self, *tupleOf(arguments));
  try {
    const Inputs inputs(self, arguments);
    Outcome outcome = run(inputs);
    nb::object value;
    if (outcome.opened) {
      value = nb::cast(new FileId(nb::borrow(self), std::move(outcome.opened)),
                       nb::rv_policy::take_ownership);
    } else {
      value = outputsToPython(outcome.result.outputs);
    }
    show(outcome.result.warnings);
    return value;
  } catch (const vlhost::Error& error) {
    raise(error, arguments, self);
  }
}

Gateway::Outcome Gateway::run(const Inputs& inputs) {
  const Turn turn;
  if (gone_) throw vlhost::Error("VORLAN:pluginUnloaded", "The plug-in has been unloaded.");
  Outcome outcome{plugin_->call(inputs.arrays(), kAllOutputs), nullptr};
  outcome.opened = noteFiles(inputs, outcome.result);
  return outcome;
}

std::shared_ptr<FileState> Gateway::noteFiles(const Inputs& inputs, const vlhost::Result& result) {
  const std::vector<const vlArray*>& arrays = inputs.arrays();
  if (arrays.size() != 2) return nullptr;
  if (closesFile(arrays[0])) noteClosed(handleIn(arrays[1]));
  if (!opensFile(arrays[0])) return nullptr;

  const std::uint64_t handle = handleIn(result.outputs.front().get());
  // A close that failed may have left a file here whose handle the library has handed out anew.
  noteClosed(handle);
  auto state = std::make_shared<FileState>(handle, bytesOf(arrays[1]));
  files_.emplace(handle, state);
  return state;
}

void Gateway::noteClosed(std::uint64_t handle) {
  const auto file = files_.find(handle);
  if (file == files_.end()) return;
  file->second->markClosed();
  files_.erase(file);
}

void Gateway::unload() {
  const Visit visit;
  if (remote_.is_valid()) {
    remote_.attr("unload")();
  } else {
    show(shutDown());
  }
}

std::uint64_t Gateway::numberOf(const FileId& file, nb::handle gateway,
                                const Arguments& arguments) {
  try {
    return handleIn(file.inputFor(gateway));
  } catch (const vlhost::Error& error) {
    raise(error, arguments);
  }
}

std::vector<vlhost::Warning> Gateway::shutDown() {
  const Turn turn;
  if (std::exchange(gone_, true)) return {};
  std::vector<vlhost::Warning> warnings;
  if (!files_.empty()) {
    warnings.push_back({"VORLAN:tarvik:closingFileHandle", "Closing open CDF file handles."});
  }
  closeFiles(warnings);
  if (!inherited_) unloadPlugin(warnings);
  for (auto& file : files_) file.second->markClosed();
  files_.clear();
  return warnings;
}

void Gateway::closeFiles(std::vector<vlhost::Warning>& warnings) {
  const vlhost::Array close = vlhost::text("close");
  for (auto& file : files_) {
    try {
      plugin_->call({close.get(), file.second->input()}, 0);
    } catch (const vlhost::Error& error) {  // does not keep the others open
      warnings.push_back({"VORLAN:fileNotClosed", "The file \"" + file.second->name() +
                                                      "\" could not be closed, and what was "
                                                      "written to it may be lost: " +
                                                      error.what()});
    }
  }
}

void Gateway::unloadPlugin(std::vector<vlhost::Warning>& warnings) {
  for (vlhost::Warning& warning : plugin_->unload()) {
    // What it says of files that could not be closed is said already.
    if (warnings.empty() || warning.identifier != warnings.front().identifier) {
      warnings.push_back(std::move(warning));
    }
  }
}

void Gateway::leave() {
  Visit::endOthers();
  std::vector<vlhost::Warning> warnings;
  const std::vector<Gateway*> all(gateways().begin(), gateways().end());
  for (Gateway* gateway : all) {
    if (gateways().count(gateway) == 0) continue;  // collected while another was unloaded
    for (vlhost::Warning& warning : gateway->shutDown()) warnings.push_back(std::move(warning));
  }
  show(warnings);
}

void Gateway::disown() {
  inherited_ = inherited_ || !files_.empty();
  for (auto& file : files_) file.second->markClosed();
  files_.clear();
}

void Gateway::beforeFork() {
  const nb::gil_scoped_release others;
  callLock().lock();
  std::fflush(nullptr);  // so that parent and child do not both write what is still buffered
}

void Gateway::afterForkInParent() {
  callLock().unlock();
}

void Gateway::afterForkInChild() {
  Visit::forgetOthers();
  for (Gateway* gateway : gateways()) gateway->disown();
  callLock().unlock();
}

}  // namespace pyhost
