#include "convert/datatypes.h"

#include <algorithm>
#include <iterator>

namespace tarvik {

namespace {

constexpr Datatype datatypes[] = {
    {1, "CDF_INT1", "cdf_int1", vlINT8_CLASS},
    {2, "CDF_INT2", "cdf_int2", vlINT16_CLASS},
    {4, "CDF_INT4", "cdf_int4", vlINT32_CLASS},
    {11, "CDF_UINT1", "cdf_uint1", vlUINT8_CLASS},
    {12, "CDF_UINT2", "cdf_uint2", vlUINT16_CLASS},
    {14, "CDF_UINT4", "cdf_uint4", vlUINT32_CLASS},
    {21, "CDF_REAL4", "cdf_real4", vlSINGLE_CLASS},
    {22, "CDF_REAL8", "cdf_real8", vlDOUBLE_CLASS},
    {31, "CDF_EPOCH", "cdf_epoch", vlDOUBLE_CLASS},
    {CDF_EPOCH16, "CDF_EPOCH16", "cdf_epoch16", vlDOUBLE_CLASS},
    {41, "CDF_BYTE", "cdf_byte", vlINT8_CLASS},
    {44, "CDF_FLOAT", "cdf_float", vlSINGLE_CLASS},
    {45, "CDF_DOUBLE", "cdf_double", vlDOUBLE_CLASS},
    {51, "CDF_CHAR", "cdf_char", vlCHAR_CLASS},
    {52, "CDF_UCHAR", "cdf_uchar", vlCHAR_CLASS},
#ifdef TARVIK_EXTENDED
    {8, "CDF_INT8", "cdf_int8", vlINT64_CLASS},
    {33, "CDF_TIME_TT2000", "cdf_time_tt2000", vlINT64_CLASS},
#endif
};

}  // namespace

const Datatype* findDatatype(long code) {
  const auto* row =
      std::find_if(std::begin(datatypes), std::end(datatypes),
                   [code](const Datatype& datatype) { return datatype.code == code; });
  return row == std::end(datatypes) ? nullptr : row;
}

vlClassID mapCdfDatatypeToVorlan(long code) {
  const Datatype* datatype = findDatatype(code);
  if (datatype == nullptr) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:mapCdfDatatypeToVorlan:unknownDatatype",
                     "%d is not a recognized enumerated CDF datatype value.",
                     static_cast<int>(code));
  }
  return datatype->classId;
}

std::string cdfDatatypeName(long code) {
  const Datatype* datatype = findDatatype(code);
  if (datatype == nullptr) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:cdfDatatypeName:unknownDatatype",
                     "%d is not a recognized datatype.", static_cast<int>(code));
  }
  return datatype->name;
}

vlArray* packUpDatatype(long code) {
  const Datatype* datatype = findDatatype(code);
  if (datatype == nullptr) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:packUpDatatype:unhandledDatatype", "Unhandled datatype %d.",
                     static_cast<int>(code));
  }
  return vlCreateString(datatype->lowerCaseName);
}

}  // namespace tarvik
