/// The CDF datatypes that the gateway serves, and the host class that carries each.
///
/// Values are never converted between types: what is written must have exactly the class of the
/// datatype, and what is read comes in it.
#pragma once

#include <string>

#include "host/array.h"

namespace tarvik {

inline constexpr long CDF_EPOCH16 = 32;

/// One row of the table.
struct Datatype {
  long code;
  const char* name;           ///< "CDF_INT4", as in messages.
  const char* lowerCaseName;  ///< "cdf_int4", as inquiries return it.
  vlClassID classId;
};

/// The datatype of a code, or null where the table has none.
const Datatype* findDatatype(long code);

/// The class that carries the datatype. Raises "unknownDatatype" of mapCdfDatatypeToVorlan.
vlClassID mapCdfDatatypeToVorlan(long code);

/// The datatype's name, "CDF_EPOCH16" for example. Raises "unknownDatatype" of cdfDatatypeName.
std::string cdfDatatypeName(long code);

/// A new char row with the lower-case name. Raises "unhandledDatatype" of packUpDatatype.
vlArray* packUpDatatype(long code);

}  // namespace tarvik
