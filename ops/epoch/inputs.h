/// What the operations on times check of their inputs.
#pragma once

#include <cstddef>

#include "host/array.h"

namespace tarvik::ops {

struct InputError {
  const char* identifier;
  const char* message;
};

/// The number of groups of `size` elements; raises `badLength` where some are left over.
inline std::size_t countGroups(const vlArray* argument, std::size_t size,
                               const InputError& badLength) {
  const std::size_t elements = vlGetNumberOfElements(argument);
  if (elements % size != 0) {
    vlErrMsgIdAndTxt(badLength.identifier, "%s", badLength.message);
  }
  return elements / size;
}

/// Raises `badClass` for an array of another class.
inline void checkClass(const vlArray* argument, vlClassID classId, const InputError& badClass) {
  if (vlGetClassID(argument) != classId) {
    vlErrMsgIdAndTxt(badClass.identifier, "%s", badClass.message);
  }
}

inline void checkDouble(const vlArray* argument, const char* identifier) {
  checkClass(argument, vlDOUBLE_CLASS,
             {identifier, "The input argument must be double precision."});
}

}  // namespace tarvik::ops
