// Each transfer is one call of the library.
#include "ops/var/transfer.h"

namespace tarvik::ops {

const Transfers transfers = {cdf::getValue,  cdf::putValue,     cdf::getRecord,
                             cdf::putRecord, cdf::getHyperslab, cdf::putHyperslab};

}  // namespace tarvik::ops
