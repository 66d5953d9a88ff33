/// Tables of codes that the library reports and the names that users see.
#pragma once

#include <cstddef>

#include "host/array.h"

namespace tarvik {

struct CodeName {
  long code;
  const char* name;
};

/// What to raise for a code that a table does not hold; the message takes the code as an int.
struct UnknownCode {
  const char* identifier;
  const char* message;
};

/// The name of a code. Raises `unknown` for a code that the table does not hold.
template <std::size_t Size>
const char* nameOf(const CodeName (&table)[Size], long code, const UnknownCode& unknown) {
  for (const CodeName& row : table) {
    if (row.code == code) {
      return row.name;
    }
  }
  vlErrMsgIdAndTxt(unknown.identifier, unknown.message, static_cast<int>(code));
}

}  // namespace tarvik
