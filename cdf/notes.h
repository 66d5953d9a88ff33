/// What was done to an open file and is not to be had from the library, for the requests that need
/// to know it.
#pragma once

#include <functional>
#include <map>

#include "cdf/functions.h"

namespace tarvik::cdf {

struct VariableNotes {
  bool metPlain = false;     ///< The library first looked at how it is stored while uncompressed.
  bool deletedFrom = false;  ///< Records were deleted.
};

struct FileNotes {
  std::map<long, VariableNotes> variables;
  bool opened = false;     ///< What was done to the file before is not known.
  bool smallRoom = false;  ///< May have become free in the file: see leavesSmallRoom().
  long stageBuffers = 0;   ///< That were asked for; 0 where none were.

  /// The variable is gone, and those behind it moved down.
  void remove(long variable);
};

FileNotes& notesOn(CDFid file);

/// Room for the notes on a file that is about to be opened or created: taken before, so that it
/// cannot be missing when the file is open. It replaces what was kept for the same handle.
class NewNotes {
 public:
  explicit NewNotes(bool opened);
  void keepFor(CDFid file);

 private:
  std::map<CDFid, FileNotes, std::less<>>::node_type room_;
};

}  // namespace tarvik::cdf
