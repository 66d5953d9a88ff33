#include "runtime/scope.h"

#include <mutex>

#include "runtime/errors.h"
#include "runtime/storage.h"

namespace vlhost {
namespace {

std::mutex running;
/// Looked up several times a call: one instruction each in this model, which takes eight bytes of
/// what the loader keeps for libraries that come late.
__attribute__((tls_model("initial-exec"))) thread_local Scope* currentScope = nullptr;

}  // namespace

Scope* Scope::current() {
  return currentScope;
}

Scope::Scope() {
  if (currentScope != nullptr) {
    throw Error("VORLAN:recursiveCall", "A plug-in cannot call a plug-in.");
  }
  running.lock();
  currentScope = this;
}

Scope::~Scope() {
  while (first_ != nullptr) destroy(first_);
  freeBlocks(blocks);
  for (const Warning& warning : warnings) showWarning(warning);
  currentScope = nullptr;
  running.unlock();
}

void Scope::add(vlArray* array) {
  array->scope = this;
  array->next = first_;
  if (first_ != nullptr) first_->previous = array;
  first_ = array;
}

void Scope::remove(vlArray* array) {
  vlArray*& before = array->previous != nullptr ? array->previous->next : first_;
  before = array->next;
  if (array->next != nullptr) array->next->previous = array->previous;
  array->scope = nullptr;
  array->previous = nullptr;
  array->next = nullptr;
}

}  // namespace vlhost
