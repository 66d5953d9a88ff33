/// The open-file registry and the file identifiers that users hold.
///
/// A user's identifier is a 1-by-1 uint64 array that holds the library's handle. The registry is
/// the set of handles that were opened or created through the gateway and not yet closed or
/// deleted; nothing else ever reaches the library as a handle.
#pragma once

#include "cdf/functions.h"
#include "host/array.h"

namespace tarvik {

/// A handle that is registered already is no longer marked as dangling: the library has handed its
/// value out anew.
void registerCDFId(CDFid file);
/// Ignores a handle that is not registered.
void unregisterCDFId(CDFid file);
bool isRegisteredCDFId(CDFid file);

/// Marks a registered handle that the library freed although it failed to close or delete the file.
/// The library would look into freed memory to refuse it.
void markDangling(CDFid file);

/// A new file identifier for the handle.
vlArray* packCDFId(CDFid file);

/// The registered handle of a file identifier. Raises "idNotUint64Scalar", "wrongNumberOfElements"
/// or "invalidFileId" of unpackCDFId. For a dangling handle it gives one that the library refuses
/// with BAD_CDF_ID (-2002).
CDFid unpackCDFId(const vlArray* argument);

/// Registers a file that was just opened and gives its identifier. If that fails, ends the file
/// with `undo`: CLOSE_ for one that was opened, DELETE_ for one that was created.
vlArray* handOutFile(CDFid file, long undo);

/// Closes every registered file, in ascending order of the handles, after one warning. The host
/// calls it before it unloads the plug-in.
void closeRegisteredFiles();

}  // namespace tarvik
