// The CDF library as a whole: its version, its copyright and its validation mode. No file is
// needed.
#include "cdf/library.h"

#include "convert/code_names.h"
#include "convert/numbers.h"
#include "gateway/handlers.h"
#include "gateway/status.h"

namespace tarvik::ops {

namespace {

// The library takes -1 for on and reports 1.
constexpr CodeName validationModes[] = {{0, "VALIDATEFILEoff"}, {1, "VALIDATEFILEon"}};
constexpr UnknownCode unknownValidationMode{"VORLAN:tarvik:getValidate:unrecognizedMode",
                                            "Encountered unhandled file validation mode \"%d\"."};

}  // namespace

void getLibraryVersion(int, vlArray* outputs[], int, const vlArray*[],
                       const OperationEntry* entry) {
  long version = 0;
  long release = 0;
  long increment = 0;
  char subIncrement = '\0';
  check(entry, cdf::call(GET_, LIB_VERSION_, &version, LIB_RELEASE_, &release, LIB_INCREMENT_,
                         &increment, LIB_subINCREMENT_, &subIncrement));
  outputs[0] = packUpLong(version);
  outputs[1] = packUpLong(release);
  outputs[2] = packUpLong(increment);
}

void getLibraryCopyright(int, vlArray* outputs[], int, const vlArray*[],
                         const OperationEntry* entry) {
  CopyrightBuffer text{};
  check(entry, cdf::call(GET_, LIB_COPYRIGHT_, text.data()));
  outputs[0] = vlCreateString(text.data());
}

void getValidate(int, vlArray* outputs[], int, const vlArray*[], const OperationEntry*) {
  outputs[0] = vlCreateString(nameOf(validationModes, CDFgetValidate(), unknownValidationMode));
}

void setValidate(int, vlArray*[], int, const vlArray* inputs[], const OperationEntry*) {
  const long mode = unpackLongScalar(inputs[0]);
  if (mode != -1 && mode != 0) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:setValidate:illegalModeValue",
                     "%d is not a legal validation mode.", static_cast<int>(mode));
  }
  CDFsetValidate(mode);
}

}  // namespace tarvik::ops
