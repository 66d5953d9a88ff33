#include "cdf/deletions.h"

#include <map>
#include <set>
#include <utility>

namespace tarvik::cdf {

namespace {

std::map<CDFid, std::set<long>, std::less<>> variables;

}  // namespace

void noneDeleted(CDFid file) {
  variables.erase(file);
}

void recordsDeleted(CDFid file, long variable) {
  variables[file].insert(variable);
}

void variableDeleted(CDFid file, long variable) {
  const auto found = variables.find(file);
  if (found == variables.end()) {
    return;
  }
  std::set<long> left;
  for (const long number : std::exchange(found->second, {})) {
    if (number != variable) {
      left.insert(number > variable ? number - 1 : number);
    }
  }
  found->second = std::move(left);
}

bool hadRecordsDeleted(CDFid file, long variable) {
  const auto found = variables.find(file);
  return found != variables.end() && found->second.count(variable) != 0;
}

}  // namespace tarvik::cdf
