/// A second host for the gateway, which shares nothing with the project's own but the declarations
/// in host/: other arrays, other memory, other exceptions.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/array.h"

struct vlArray {
  vlClassID classId = vlUNKNOWN_CLASS;
  std::vector<size_t> dims;
  std::vector<unsigned char> bytes;
  std::vector<vlArray*> cells;
};

namespace other {

using Owned = std::unique_ptr<vlArray>;

/// What the gateway's errors are thrown as. Deliberately no std::exception.
struct Failure {
  std::string identifier;
  std::string message;
};

/// What the gateway asked of this host, over all calls.
struct Log {
  void (*atExit)() = nullptr;
  std::vector<std::string> warnings;
};
extern Log log;

Owned make(vlClassID classId, const std::vector<size_t>& dims);

/// Takes an array out of what the current call made.
Owned take(vlArray* array);
/// Reclaims what the current call made. Gives the number of blocks that it did not free.
size_t endCall();

}  // namespace other
