#include "ops/attr/entry_buffer.h"

#include <cstring>

#include "convert/datatypes.h"

namespace tarvik::ops {

void setInputBufferSize(EntryBuffer& buffer, long datatype, long count) {
  const Datatype* row = findDatatype(datatype);
  if (row == nullptr) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:setInputBufferSize:unknownDatatype",
                     "%d is not a recognized datatype.", static_cast<int>(datatype));
  }
  const std::size_t terminator = isCharacter(datatype) ? 1 : 0;
  buffer.resize(static_cast<std::size_t>(count) * row->bytes + terminator);
}

vlArray* packUpAttributeEntry(const EntryBuffer& buffer, long datatype) {
  const Datatype* row = findDatatype(datatype);
  if (row == nullptr) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:packUpAttributeEntry:unknownDatatype",
                     "%d is not a recognized enumerated CDF datatype value.",
                     static_cast<int>(datatype));
  }
  if (isCharacter(datatype)) {
    return vlCreateString(buffer.data());
  }
  const std::size_t rows = datatype == CDF_EPOCH16 ? 2 : 1;
  vlArray* values = vlCreateNumericMatrix(rows, buffer.size() / row->bytes, row->classId, vlREAL);
  if (!buffer.empty()) {
    std::memcpy(vlGetData(values), buffer.data(), buffer.size());
  }
  return values;
}

}  // namespace tarvik::ops
