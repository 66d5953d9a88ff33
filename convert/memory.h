/// Host memory that is released where it is no longer needed, in success and in error.
#pragma once

#include <memory>

#include "host/array.h"

namespace tarvik {

struct HostRelease {
  void operator()(char* block) const { vlFree(block); }
};

using HostBytes = std::unique_ptr<char[], HostRelease>;

inline HostBytes allocateBytes(std::size_t count) {
  return HostBytes(static_cast<char*>(vlMalloc(count)));
}

}  // namespace tarvik
