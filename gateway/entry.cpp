#include <array>
#include <cstddef>

#include "convert/text.h"
#include "gateway/operations.h"
#include "gateway/registry.h"
#include "host/plugin.h"

namespace {

/// Room for the name of any operation and a NUL. Such names need no memory of the host.
constexpr std::size_t usualName = 40;

const tarvik::OperationEntry* findNamed(const vlArray* text, int numInputs) {
  if (vlGetNumberOfElements(text) >= usualName) {
    return tarvik::findOperation(tarvik::narrow(text).get(), numInputs);
  }
  std::array<char, usualName> name{};
  tarvik::narrow(text, name.data());
  return tarvik::findOperation(name.data(), numInputs);
}

}  // namespace

void vlpFunction(int numOutputs, vlArray* outputSlots[], int numInputs,
                 const vlArray* inputArgs[]) {
  // On every call and before any check, so that a call that fails has registered it too.
  vlpAtExit(tarvik::closeRegisteredFiles);

  if (numInputs < 1) {
    vlpErrMsgIdAndTxt("VORLAN:tarvik:tooFewArguments", "Must provide at least one input argument.");
  }
  if (vlGetClassID(inputArgs[0]) != vlCHAR_CLASS) {
    vlpErrMsgIdAndTxt("VORLAN:tarvik:firstArgNotChar", "First argument must be a function string.");
  }

  const tarvik::OperationEntry* entry = findNamed(inputArgs[0], numInputs - 1);
  entry->handler(numOutputs, outputSlots, numInputs - 1, inputArgs + 1, entry);
}
