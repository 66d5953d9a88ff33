/// Text between the host, whose characters have 16 bits, and the CDF library, whose characters are
/// bytes.
#pragma once

#include <string>

#include "convert/memory.h"
#include "host/array.h"

namespace tarvik {

/// The text of a char array, one byte for each element. Raises "argumentNotChar" or "containsNul"
/// of unpackString: a text with a NUL would reach the library cut short.
std::string unpackString(const vlArray* argument);

/// The low 8 bits of every element of a char array, in storage order, with a NUL behind the last.
HostBytes narrow(const vlArray* text);

/// Fills a char array from as many bytes. Bytes are taken as signed: 0xE9 becomes 0xFFE9.
void widen(const char* bytes, vlArray* text);

}  // namespace tarvik
