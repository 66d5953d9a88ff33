/// The plug-in interface of the host: the one entry that a plug-in exports, and what the host
/// offers to the plug-in beside arrays.
#pragma once

#include "host/array.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Keeps `handler` to be called before the plug-in is unloaded. The host keeps one handler for each
/// plug-in; registering it again changes nothing. Returns 0.
int vlpAtExit(void (*handler)(void));

/// Same as vlErrMsgIdAndTxt.
void vlpErrMsgIdAndTxt(const char* identifier, const char* format,
                       ...) VL_PRINTF_FORMAT VL_NORETURN;
/// Same as vlWarningMsgIdAndTxt.
void vlpWarnMsgIdAndTxt(const char* identifier, const char* format, ...) VL_PRINTF_FORMAT;

/// What a plug-in defines. The host gives at least eight output slots, all null, whatever number of
/// outputs the caller asked for; the inputs stay the host's and are not changed.
__attribute__((visibility("default"))) void vlpFunction(int numOutputs, vlArray* outputSlots[],
                                                        int numInputs, const vlArray* inputArgs[]);

#ifdef __cplusplus
}  // extern "C"
#endif
