/// Tells which library serves the calls of another one.
#pragma once

#include <string>

namespace pyhost {

/// The file of the library that is called where a library calls `function` by name. The caller is
/// the one in which `plugin`, which is loaded, finds the function `member`. Empty if it calls no
/// such function or the plug-in is not loaded.
std::string providerOf(const std::string& plugin, const std::string& member,
                       const std::string& function);

}  // namespace pyhost
