// Changing the read-only mode of a file. Seen with version 3.9.1 of the library: read-only mode
// moves the attributes to memory, and an attribute that was selected before is not found there. The
// next read of a record that was never written looks for a fill value among the attributes, frees
// the file and goes on with it. So an attribute is selected anew; a file may have none.
#include "gateway/handlers.h"
#include "ops/file/numbers.h"

namespace tarvik::ops {

void setReadOnlyMode(int, vlArray*[], int, const vlArray* inputs[], const OperationEntry* entry) {
  tellFile(inputs, entry, CDF_READONLY_MODE_);
  cdf::onAttribute(unpackCDFId(inputs[0]), 0L);
}

}  // namespace tarvik::ops
