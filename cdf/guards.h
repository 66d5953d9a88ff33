/// The judgements behind cdf/requests.h. Each gives 0 for a request that the library may see, or
/// the library's status for one that it may not.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "cdf/functions.h"

namespace tarvik::cdf {

CDFstatus judgePathToOpen(const std::string& path);
CDFstatus judgePathToCreate(const std::string& path);
CDFstatus judgeVariableName(const std::string& name);
CDFstatus judgeAttributeName(const std::string& name);
/// One value, and one record, of a new variable.
CDFstatus judgeValueSize(long datatype, long numElements, const std::vector<long>& dimSizes);
CDFstatus judgeRecord(long record);
CDFstatus judgeRecords(long start, long count, long interval);
CDFstatus judgeLastRecord(long record);
CDFstatus judgeDimensions(const std::vector<long>& indices, const std::vector<long>& counts,
                          const std::vector<long>& intervals);
/// The elements of an attribute entry.
CDFstatus judgeEntrySize(std::size_t count);

}  // namespace tarvik::cdf
