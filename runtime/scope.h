/// What one call of a plug-in made and has not handed out yet.
#pragma once

#include <vector>

#include "runtime/block_table.h"
#include "runtime/host.h"

namespace vlhost {

/// One plug-in as the loader knows it, shared by all Plugin objects of the same file.
struct Module;

/// While one exists, it is the current scope of its thread: arrays and blocks made there belong to
/// it, warnings are collected in it. Whatever still belongs to it at its end is destroyed.
///
/// Only one exists in the process; another thread waits for it, and a second one on the same thread
/// raises "VORLAN:recursiveCall".
class Scope {
 public:
  Scope();
  ~Scope();
  Scope(const Scope&) = delete;
  Scope& operator=(const Scope&) = delete;

  /// The scope of the running thread, null outside of all.
  static Scope* current();

  void add(vlArray* array);
  /// The array is no longer the scope's.
  void remove(vlArray* array);

  Module* module = nullptr;  ///< The plug-in that runs; null while one comes or goes.
  BlockTable blocks;
  std::vector<Warning> warnings;  ///< Shown at the end, unless someone took them.

 private:
  vlArray* first_ = nullptr;  ///< The arrays that belong here, as a list through their links.
};

}  // namespace vlhost
