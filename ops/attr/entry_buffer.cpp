#include "ops/attr/entry_buffer.h"

#include <cstring>

#include "cdf/library.h"
#include "convert/datatypes.h"

namespace tarvik::ops {

void setInputBufferSize(EntryBuffer& buffer, long datatype, long count) {
  if (findDatatype(datatype) == nullptr) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:setInputBufferSize:unknownDatatype",
                     "%d is not a recognized datatype.", static_cast<int>(datatype));
  }
  const std::size_t terminator = cdf::isText(datatype) ? 1 : 0;
  buffer.resize(static_cast<std::size_t>(count * cdf::datatypeBytes(datatype)) + terminator);
}

vlArray* packUpAttributeEntry(const EntryBuffer& buffer, long datatype) {
  const Datatype* row = findDatatype(datatype);
  if (row == nullptr) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:packUpAttributeEntry:unknownDatatype",
                     "%d is not a recognized enumerated CDF datatype value.",
                     static_cast<int>(datatype));
  }
  if (cdf::isText(datatype)) {
    return vlCreateString(buffer.data());
  }
  const std::size_t rows = datatype == CDF_EPOCH16 ? 2 : 1;
  const std::size_t count = buffer.size() / static_cast<std::size_t>(cdf::datatypeBytes(datatype));
  vlArray* values = vlCreateNumericMatrix(rows, count, row->classId, vlREAL);
  if (!buffer.empty()) {
    std::memcpy(vlGetData(values), buffer.data(), buffer.size());
  }
  return values;
}

}  // namespace tarvik::ops
