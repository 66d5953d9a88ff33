// The named constants: listing them and looking one up.
#include "convert/constants.h"

#include <algorithm>
#include <cctype>
#include <string>

#include "convert/text.h"
#include "gateway/handlers.h"

namespace tarvik::ops {

void getConstantNames(int, vlArray* outputs[], int, const vlArray*[], const OperationEntry*) {
  vlArray* names = vlCreateCellMatrix(namedConstants().size(), 1);
  std::size_t index = 0;
  for (const auto& constant : namedConstants()) {
    vlSetCell(names, index++, vlCreateString(constant.first.c_str()));
  }
  outputs[0] = names;
}

void getConstantValue(int, vlArray* outputs[], int, const vlArray* inputs[],
                      const OperationEntry*) {
  if (vlGetClassID(inputs[0]) != vlCHAR_CLASS) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:getConstantValue:badInputDatatype",
                     "The input to getConstantValue should have class char instead of %s.",
                     vlGetClassName(inputs[0]));
  }
  std::string name = narrow(inputs[0]).get();
  std::transform(name.begin(), name.end(), name.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
  const auto constant = namedConstants().find(name);
  if (constant == namedConstants().end()) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:getConstantValue:unrecognizedConstantName",
                     "\"%s\" is not a string corresponding to any known CDF constant value.",
                     name.c_str());
  }
  outputs[0] = vlCreateDoubleScalar(constant->second);
}

}  // namespace tarvik::ops
