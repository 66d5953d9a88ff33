#include "cdf/screen/extents.h"

#include <algorithm>

namespace tarvik::cdf {

namespace {

/// The records of a variable mostly follow each other, which sorting as such would not make use of.
template <typename Values>
void sortByRuns(Values& values) {
  std::vector<typename Values::iterator> bounds = {values.begin()};
  while (bounds.back() != values.end()) {
    bounds.push_back(std::is_sorted_until(bounds.back(), values.end()));
  }
  while (bounds.size() > 2) {
    std::size_t kept = 1;
    for (std::size_t i = 2; i < bounds.size(); i += 2) {
      std::inplace_merge(bounds[i - 2], bounds[i - 1], bounds[i]);
      bounds[kept++] = bounds[i];
    }
    if (bounds.size() % 2 == 0) {
      bounds[kept++] = bounds.back();
    }
    bounds.resize(kept);
  }
}

}  // namespace

bool Extents::add(std::int64_t place, std::int64_t size) {
  added_.emplace_back(place, place + size);
  if (added_.size() < nextLook_) {
    return true;
  }
  nextLook_ *= 2;
  return addedAreApart();
}

void Extents::addShared(std::int64_t place, std::int64_t size) {
  shared_.emplace_back(place, place + size);
}

bool Extents::areApart(std::int64_t end) {
  std::sort(shared_.begin(), shared_.end());
  added_.insert(added_.end(), shared_.begin(), std::unique(shared_.begin(), shared_.end()));
  return addedAreApart() && (added_.empty() || added_.back().second <= end);
}

bool Extents::addedAreApart() {
  sortByRuns(added_);
  const auto overlap = [](const Extent& one, const Extent& next) {
    return one.second > next.first;
  };
  return std::adjacent_find(added_.begin(), added_.end(), overlap) == added_.end();
}

}  // namespace tarvik::cdf
