/// Calls that a sequence leaves out, since the library itself fails at them.
#pragma once

#include "tests/fuzz/model.h"

/// Whether the call leads to a fault of the library that ends the process or never ends.
bool meetsKnownCrash(const Call& call, const Model& model);

/// Whether the call keeps clear of all known faults that lose what a file holds.
bool isCareful(const Call& call, const Model& model);
