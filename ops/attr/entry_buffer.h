/// The bytes of an attribute entry between the library and a host array.
#pragma once

#include <vector>

#include "host/array.h"

namespace tarvik::ops {

using EntryBuffer = std::vector<char>;

/// Sizes the buffer for `count` elements of a datatype, and for text one byte more, so that it
/// always ends in a NUL; new bytes are zero. Raises "unknownDatatype" of setInputBufferSize.
void setInputBufferSize(EntryBuffer& buffer, long datatype, long count);

/// A new array with what the buffer holds: a string up to its first NUL, or a row of numbers, two
/// rows for epoch16 values. Raises "unknownDatatype" of packUpAttributeEntry.
vlArray* packUpAttributeEntry(const EntryBuffer& buffer, long datatype);

}  // namespace tarvik::ops
