/// Requests that are refused before the library sees them. With each of these the library would
/// crash, touch memory that is neither its own nor the caller's, act on another file or variable
/// than the one named, or report success with wrong values, since a number does not fit its 32-bit
/// counters. What the library does stands at each guard in guards.cpp.
///
/// A guard decides from its arguments alone. It gives 0, or the library's status for such a
/// request. Everything else is for the library to judge.
#pragma once

#include <cstddef>
#include <string>

#include "cdf/library.h"

namespace tarvik::cdf {

CDFstatus checkPathToCreate(const std::string& path);
CDFstatus checkPathToOpen(const std::string& path);
/// Whether there is memory for opening a file, whatever it holds.
CDFstatus checkMemoryToOpen();
/// The file that the library opens for a path.
std::string fileToOpen(const std::string& path);

CDFstatus checkVariableName(const std::string& name);
CDFstatus checkAttributeName(const std::string& name);

/// A variable to create, whatever its name.
CDFstatus checkShape(const VariableDescription& variable);

CDFstatus checkRecordToWrite(long record, long recVary);
/// For CDFgetVarRecordData and CDFputVarRecordData.
CDFstatus checkRecord(long record, long recVary);

CDFstatus checkHyperslab(const Hyperslab& slab, const VariableDescription& variable);
CDFstatus checkHyperslabToRead(const Hyperslab& slab, const VariableDescription& variable);

/// A block of records up to `last`.
CDFstatus checkAllocation(long last);

/// An attribute entry of `count` elements of a datatype.
CDFstatus checkEntrySize(long datatype, std::size_t count);

}  // namespace tarvik::cdf
