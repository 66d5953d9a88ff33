#include "gateway/operations.h"
#include "gateway/registry.h"
#include "host/plugin.h"

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

  // The host reclaims the name if the operation is not found.
  char* name = vlArrayToString(inputArgs[0]);
  const tarvik::OperationEntry* entry = tarvik::findOperation(name, numInputs - 1);
  vlFree(name);
  entry->handler(numOutputs, outputSlots, numInputs - 1, inputArgs + 1, entry);
}
