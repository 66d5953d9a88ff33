#include "python/src/file_id.h"

#include <utility>

namespace pyhost {
namespace {

vlhost::Array fileIdentifier(const std::uint64_t* handle) {
  return vlhost::borrow({1, 1}, vlUINT64_CLASS, handle);
}

}  // namespace

FileState::FileState(std::uint64_t handle, std::string name)
    : handle_(handle), name_(std::move(name)), input_(fileIdentifier(&handle_)) {}

void FileState::markClosed() {
  handle_ = 0;
  open_ = false;
}

FileId::FileId(nb::object gateway, std::shared_ptr<FileState> state)
    : gateway_(std::move(gateway)), state_(std::move(state)) {}

FileId::~FileId() {
  if (!state_->isOpen()) return;
  const nb::error_scope keepError;
  const nb::str name = this->name();
  if (PyErr_ResourceWarning(nullptr, 1, "unclosed CDF file %R stays open until the program ends",
                            name.ptr()) != 0) {
    PyErr_WriteUnraisable(name.ptr());
  }
}

const vlArray* FileId::inputFor(nb::handle gateway) const {
  if (!gateway.is(gateway_)) {
    throw vlhost::Error("VORLAN:tarvik:unpackCDFId:invalidFileId",
                        "The CDF file ID argument is invalid: the file \"" + state_->name() +
                            "\" belongs to the gateway that opened it.");
  }
  return state_->input();
}

nb::str FileId::name() const {
  const std::string& bytes = state_->name();
  return nb::steal<nb::str>(
      PyUnicode_DecodeFSDefaultAndSize(bytes.data(), static_cast<Py_ssize_t>(bytes.size())));
}

nb::str FileId::repr() const {
  return nb::steal<nb::str>(PyUnicode_FromFormat("<tarvik.ops.FileId %R %s>", name().ptr(),
                                                 isOpen() ? "open" : "closed"));
}

}  // namespace pyhost
