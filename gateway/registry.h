/// The open-file registry and the file identifiers that users hold.
///
/// A user's identifier is a 1-by-1 uint64 array that holds the library's handle. The registry is
/// the set of handles that were opened or created through the gateway and not yet closed or
/// deleted; nothing else ever reaches the library as a handle.
#pragma once

#include "cdf/functions.h"
#include "host/array.h"

namespace tarvik {

void registerCDFId(CDFid file);
/// A handle that is not registered is ignored.
void unregisterCDFId(CDFid file);
bool isRegisteredCDFId(CDFid file);

/// A new file identifier for the handle.
vlArray* packCDFId(CDFid file);

/// The registered handle of a file identifier. Raises "idNotUint64Scalar", "wrongNumberOfElements"
/// or "invalidFileId" of unpackCDFId.
CDFid unpackCDFId(const vlArray* argument);

/// Registers a file that was just opened and gives its identifier. Should that fail, the file is
/// taken back with `undo`: CLOSE_ for one that was opened, DELETE_ for one that was created.
vlArray* handOutFile(CDFid file, long undo);

/// Closes every registered file, in ascending order of the handles, after one warning. The host
/// calls it before it unloads the plug-in.
void closeRegisteredFiles();

}  // namespace tarvik
