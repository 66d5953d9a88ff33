/// What a plug-in's exceptions become, and where warnings go.
#pragma once

#include "runtime/host.h"

namespace vlhost {

/// Shows a warning that there is no caller to give it to.
void showWarning(const Warning& warning);

/// Raises the exception that is being handled as an Error.
[[noreturn]] void raiseAsError();

}  // namespace vlhost
