// Changing the read-only mode of a file.
#include "gateway/handlers.h"
#include "ops/file/numbers.h"

namespace tarvik::ops {

void setReadOnlyMode(int, vlArray*[], int, const vlArray* inputs[], const OperationEntry* entry) {
  tellFile(inputs, entry, CDF_READONLY_MODE_);
}

}  // namespace tarvik::ops
