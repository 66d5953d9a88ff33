/// What Python makes isolated gateways of, whose plug-in is in another process.
#pragma once

#include <nanobind/nanobind.h>

namespace pyhost {

/// Adds `Turn`: one call of a gateway at a time.
void addTurn(nanobind::module_& m);

/// Adds `Channel`, one end of the socket between a gateway and its process, with its exceptions.
void addChannel(nanobind::module_& m);

}  // namespace pyhost
