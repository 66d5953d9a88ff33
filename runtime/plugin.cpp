// Loading, calling and unloading plug-ins.
#include "host/plugin.h"

#include <algorithm>
#include <array>
#include <dlfcn.h>
#include <string>
#include <utility>

#include "runtime/errors.h"
#include "runtime/scope.h"
#include "runtime/storage.h"

namespace vlhost {

struct Module {
  void* handle;
  decltype(&vlpFunction) entry;
  std::size_t users;  ///< Plugin objects that have it loaded.
  void (*atExit)();   ///< The exit handler registered last, null while there is none.
  Module* next;       ///< In the list of all that are loaded.
};

namespace {

constexpr std::size_t kMinSlots = 8;

/// All plug-ins that are loaded; touched inside a scope only. A plain pointer, so that a Plugin
/// with static storage can be destroyed whenever that happens.
Module* modules = nullptr;

[[noreturn]] void raiseInvalid(const std::string& reason) {
  throw Error("VORLAN:invalidPlugin", "The plug-in cannot be loaded: " + reason);
}

/// Pointers handed to the plug-in: few of them need no memory of the heap.
template <typename Pointer>
class Pointers {
 public:
  explicit Pointers(std::size_t count) : count_(count) {
    if (count > few_.size()) many_.resize(count);
  }
  Pointer* data() { return many_.empty() ? few_.data() : many_.data(); }
  Pointer* begin() { return data(); }
  Pointer* end() { return data() + count_; }

 private:
  std::array<Pointer, kMinSlots> few_{};
  std::vector<Pointer> many_;
  std::size_t count_;
};

using Slots = Pointers<vlArray*>;

/// The loader counts how often a file was loaded and gives the same handle each time; the exit
/// handler is one a file, so its users are counted here too.
Module* enter(void* handle, decltype(&vlpFunction) entry) {
  Module* module = modules;
  while (module != nullptr && module->handle != handle) module = module->next;
  if (module == nullptr) {
    module = new Module{handle, entry, 0, nullptr, modules};
    modules = module;
  }
  ++module->users;
  return module;
}

void leave(Module* module) {
  Module** link = &modules;
  while (*link != module) link = &(*link)->next;
  *link = module->next;
  delete module;
}

/// The library that holds the address.
Dl_info libraryOf(const void* address) {
  Dl_info library{};
  dladdr(address, &library);
  return library;
}

/// Makes this library's functions those that a plug-in finds, also where Python loaded the library
/// for itself alone. Another host that came first in the process would answer instead: refused,
/// since its arrays mean nothing here.
void provideFunctions() {
  const Dl_info own = libraryOf(&modules);
  if (void* const handle = dlopen(own.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_GLOBAL)) {
    dlclose(handle);  // it stays global
  }
  const Dl_info found = libraryOf(dlsym(RTLD_DEFAULT, "vlErrMsgIdAndTxt"));
  if (found.dli_fname != nullptr && found.dli_fbase != own.dli_fbase) {
    raiseInvalid(std::string("another host is in this process already, ") + found.dli_fname);
  }
}

Module* load(const std::filesystem::path& file) {
  provideFunctions();
  // A bare name would be looked for in the folders of the system.
  const std::filesystem::path path = file.has_parent_path() ? file : "." / file;
  void* const handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) raiseInvalid(dlerror());
  void* const entry = dlsym(handle, "vlpFunction");
  if (entry == nullptr) {
    const std::string reason = dlerror();
    dlclose(handle);
    raiseInvalid(reason);
  }
  return enter(handle, reinterpret_cast<decltype(&vlpFunction)>(entry));
}

const vlArray* notNull(const vlArray* input) {
  if (input == nullptr) throw Error("VORLAN:badArray", "An input of a plug-in cannot be null.");
  return input;
}

/// Refuses slots that do not each own their array: it is the caller's, or in a cell, or in two.
void checkSlots(Slots& slots, const Scope& scope) {
  for (vlArray* array : slots) {
    if (array == nullptr) continue;
    if (array->scope != &scope) {
      throw Error("VORLAN:badOutput",
                  "An output must be an array that the call made and stored in no cell.");
    }
    if (array->inSlot) throw Error("VORLAN:badOutput", "One array cannot be two outputs.");
    array->inSlot = true;
  }
}

/// Gives the filled slots among the first `wanted` to `outputs`.
void handOut(Slots& slots, std::size_t wanted, Scope& scope, std::vector<Array>& outputs) {
  checkSlots(slots, scope);
  vlArray** const end = slots.begin() + wanted;
  vlArray** const filled = std::find(slots.begin(), end, nullptr);
  if (std::any_of(filled, end, [](const vlArray* array) { return array != nullptr; })) {
    throw Error("VORLAN:badOutput", "An output is missing before the last one.");
  }
  for (vlArray** slot = slots.begin(); slot != filled; ++slot) {
    scope.remove(*slot);
    outputs.emplace_back(*slot);
  }
}

/// Runs code of a plug-in: whatever it throws comes out as an Error.
template <typename Code>
auto guarded(const Code& code) {
  try {
    return code();
  } catch (...) {
    raiseAsError();
  }
}

/// Runs the exit handler; its error is one more warning, since the unloading goes on.
void runExitHandler(const Module& module, std::vector<Warning>& warnings) {
  if (module.atExit == nullptr) return;
  try {
    guarded(module.atExit);
  } catch (const Error& error) {
    warnings.push_back({error.identifier(), error.what()});
  }
}

}  // namespace

struct Plugin::Impl {
  Module* module = nullptr;  ///< Null once unloaded.
};

Plugin::Plugin(const std::filesystem::path& file) : impl_(std::make_unique<Impl>()) {
  const Scope scope;  // of what the plug-in's own initialisation makes
  impl_->module = load(file);
}

Plugin::~Plugin() {
  try {
    for (const Warning& warning : unload()) showWarning(warning);
  } catch (const std::exception& exception) {
    // Destroyed by a plug-in's call: the plug-in stays in the process.
    showWarning({"VORLAN:pluginNotUnloaded", exception.what()});
  }
}

Result Plugin::call(const std::vector<const vlArray*>& inputs, int numOutputs) {
  Scope scope;
  scope.module = impl_->module;
  if (scope.module == nullptr) {
    throw Error("VORLAN:pluginUnloaded", "The plug-in was unloaded.");
  }
  return guarded([&] {
    const auto wanted = static_cast<std::size_t>(std::max(1, numOutputs));
    Slots slots(std::max(kMinSlots, wanted));
    Pointers<const vlArray*> arguments(inputs.size());
    std::transform(inputs.begin(), inputs.end(), arguments.begin(), notNull);
    Result result;
    result.outputs.reserve(wanted);  // what the plug-in has done must not fail for memory after it
    scope.module->entry(numOutputs, slots.data(), static_cast<int>(inputs.size()),
                        arguments.data());
    handOut(slots, wanted, scope, result.outputs);
    result.warnings = std::move(scope.warnings);
    return result;
  });
}

std::vector<Warning> Plugin::unload() {
  Scope scope;
  Module* const module = std::exchange(impl_->module, nullptr);
  if (module == nullptr) return {};
  void* const handle = module->handle;
  if (--module->users == 0) {
    scope.module = module;
    runExitHandler(*module, scope.warnings);
    scope.module = nullptr;
    leave(module);
  }
  dlclose(handle);  // static objects of the plug-in may warn here too
  return std::move(scope.warnings);
}

}  // namespace vlhost

extern "C" VLHOST_API int vlpAtExit(void (*handler)(void)) {
  const vlhost::Scope* scope = vlhost::Scope::current();
  if (scope == nullptr || scope->module == nullptr) return 1;
  scope->module->atExit = handler;
  return 0;
}
