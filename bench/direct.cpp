#include "bench/direct.h"

#include <array>
#include <cstdlib>
#include <iostream>

namespace bench {

void must(CDFstatus status) {
  if (status >= 0) return;
  tarvik::StatusTextBuffer words{};
  tarvik::cdf::call(tarvik::SELECT_, tarvik::CDF_STATUS_, status, tarvik::GET_,
                    tarvik::STATUS_TEXT_, words.data());
  std::cerr << "The CDF library refused a direct call: " << words.data() << '\n';
  std::exit(1);
}

long createVariable(CDFid file, const std::string& name, const Variable& variable) {
  const std::vector<long> varys(variable.dimSizes.size(), tarvik::VARY);
  long made = 0;
  must(tarvik::cdf::onFile(file, tarvik::CREATE_, tarvik::zVAR_, name.c_str(), variable.datatype,
                           variable.numElements, static_cast<long>(variable.dimSizes.size()),
                           variable.dimSizes.data(), tarvik::VARY, varys.data(), &made));
  return made;
}

long createAttribute(CDFid file, const std::string& name, long scope) {
  long made = 0;
  must(tarvik::cdf::onFile(file, tarvik::CREATE_, tarvik::ATTR_, name.c_str(), scope, &made));
  return made;
}

void transferValue(CDFid file, long variable, long record, const long* place, long function,
                   double* value) {
  must(tarvik::cdf::onVariable(file, variable, tarvik::zVAR_RECNUMBER_, record,
                               tarvik::zVAR_DIMINDICES_, place, function, tarvik::zVAR_DATA_,
                               value));
}

void inquireVariable(CDFid file, long variable) {
  tarvik::NameBuffer name{};
  long datatype = 0, numElements = 0, numDims = 0, recVary = 0;
  std::array<long, tarvik::CDF_MAX_DIMS> dimSizes{}, dimVarys{};
  must(tarvik::cdf::onVariable(file, variable, tarvik::GET_, tarvik::zVAR_NAME_, name.data(),
                               tarvik::zVAR_DATATYPE_, &datatype, tarvik::zVAR_NUMELEMS_,
                               &numElements, tarvik::zVAR_NUMDIMS_, &numDims,
                               tarvik::zVAR_DIMSIZES_, dimSizes.data(), tarvik::zVAR_RECVARY_,
                               &recVary, tarvik::zVAR_DIMVARYS_, dimVarys.data()));
}

void inquireMajority(CDFid file) {
  long majority = 0;
  must(tarvik::cdf::onFile(file, tarvik::GET_, tarvik::CDF_MAJORITY_, &majority));
}

}  // namespace bench
