#include "cdf/descriptions.h"

#include <algorithm>
#include <array>
#include <numeric>

#include "cdf/call.h"

namespace tarvik::cdf {

namespace {

/// `inquire` makes an inquiry of a compression into its arguments.
template <typename Inquire>
long compressionBy(Inquire inquire) {
  long type = NO_COMPRESSION, percentage = 0;
  CompressionParameters parameters{};
  return inquire(&type, parameters.data(), &percentage) < 0 ? unknownCompression : type;
}

}  // namespace

long compressionOf(CDFid file) {
  return compressionBy([&](auto... into) { return onFile(file, GET_, CDF_COMPRESSION_, into...); });
}

long compressionOf(CDFid file, long variable) {
  return compressionBy(
      [&](auto... into) { return onVariable(file, variable, GET_, zVAR_COMPRESSION_, into...); });
}

RecordLayout::RecordLayout(CDFid file, long variable) {
  long majority = ROW_MAJOR, datatype = 0, numElements = 0, numDims = 0, bytes = 0;
  std::array<long, CDF_MAX_DIMS> extents{}, varys{};
  if (onVariable(file, variable, GET_, CDF_MAJORITY_, &majority, zVAR_DATATYPE_, &datatype,
                 zVAR_NUMELEMS_, &numElements, zVAR_NUMDIMS_, &numDims, zVAR_DIMSIZES_,
                 extents.data(), zVAR_DIMVARYS_, varys.data()) < 0 ||
      call(GET_, DATATYPE_SIZE_, datatype, &bytes) < 0) {
    return;
  }
  sizes.assign(extents.begin(), extents.begin() + numDims);
  strides.resize(sizes.size(), 0);
  order.resize(sizes.size());
  std::iota(order.begin(), order.end(), 0L);
  if (majority != ROW_MAJOR) {
    std::reverse(order.begin(), order.end());
  }
  valueBytes = bytes * numElements;
  recordBytes = valueBytes;
  std::for_each(order.rbegin(), order.rend(), [&](long dimension) {
    const auto i = static_cast<std::size_t>(dimension);
    if (varys[i] != NOVARY) {
      strides[i] = recordBytes;
      recordBytes *= sizes[i];
    }
  });
}

}  // namespace tarvik::cdf
