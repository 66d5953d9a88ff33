/// What was done to an open file and is not to be had from the library, for the requests that need
/// to know it.
#pragma once

#include <map>

#include "cdf/functions.h"

namespace tarvik::cdf {

struct VariableNotes {
  bool metPlain = false;     ///< The library first looked at how it is stored while uncompressed.
  bool deletedFrom = false;  ///< Records were deleted.
};

struct FileNotes {
  std::map<long, VariableNotes> variables;
  long stageBuffers = 0;  ///< That were asked for; 0 where none were.

  /// The variable is gone, and those behind it moved down.
  void remove(long variable);
};

FileNotes& notesOn(CDFid file);

/// The library handed the handle out: nothing was done yet.
void forgetNotes(CDFid file);

}  // namespace tarvik::cdf
