// Calls of the plug-in that misbehaves on demand.
#pragma once

#include <string>
#include <vector>

#include "tests/runtime/support.h"

inline vlhost::Array scalar(double value) {
  return vlhost::Array(vlCreateDoubleScalar(value));
}

class OddPlugin : public vlhost::Plugin {
 public:
  OddPlugin() : Plugin(ODD_PLUGIN) {}

  vlhost::Result run(const std::string& command, int numOutputs = 1,
                     const vlArray* argument = nullptr) {
    const vlhost::Array name = vlhost::text(command);
    std::vector<const vlArray*> inputs{name.get()};
    if (argument != nullptr) inputs.push_back(argument);
    return call(inputs, numOutputs);
  }
  /// The first output, a number.
  double number(const std::string& command, int numOutputs = 1, const vlArray* argument = nullptr) {
    const vlhost::Result result = run(command, numOutputs, argument);
    return *static_cast<double*>(vlGetData(result.outputs.at(0).get()));
  }
};
