#include "gateway/status.h"

#include "cdf/library.h"
#include "host/array.h"

namespace tarvik {

StatusTextBuffer statusText(CDFstatus status) {
  StatusTextBuffer text{};
  cdf::call(SELECT_, CDF_STATUS_, status, GET_, STATUS_TEXT_, text.data());
  return text;
}

void reportCdfFailure(CDFstatus status, const std::string& function, const std::string& tag) {
  const std::string identifier = "VORLAN:tarvik:" + function + ":" + tag;
  vlErrMsgIdAndTxt(identifier.c_str(), "CDF library failure, \"%s\".", statusText(status).data());
}

}  // namespace tarvik
