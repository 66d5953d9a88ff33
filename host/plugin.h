/// The plug-in interface of the host: the one entry that a plug-in exports, and what the host
/// offers to the plug-in beside arrays.
#pragma once

#include "host/array.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Keeps `handler` to be called once, outside all calls, before the plug-in is unloaded; it may
/// warn. The host keeps one handler for each plug-in. The gateway registers it again in every call,
/// which changes nothing. Returns 0; anything else says that it is not kept.
int vlpAtExit(void (*handler)(void));

/// Same as vlErrMsgIdAndTxt.
void vlpErrMsgIdAndTxt(const char* identifier, const char* format,
                       ...) VL_PRINTF_FORMAT VL_NORETURN;
/// Same as vlWarningMsgIdAndTxt.
void vlpWarnMsgIdAndTxt(const char* identifier, const char* format, ...) VL_PRINTF_FORMAT;

/// What a plug-in defines. The host calls it on one thread at a time, for all plug-ins together,
/// with at least eight output slots, all null, whatever number of outputs the caller asked for. The
/// plug-in fills slots from the first on and may fill more than were asked for; an array in a slot
/// is the host's to keep. Inputs are not null, not changed, and not used after the call. The host
/// is ready for its own errors and for std::exception, std::bad_alloc among them.
__attribute__((visibility("default"))) void vlpFunction(int numOutputs, vlArray* outputSlots[],
                                                        int numInputs, const vlArray* inputArgs[]);

#ifdef __cplusplus
}  // extern "C"
#endif
