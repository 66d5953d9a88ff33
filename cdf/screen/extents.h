/// Where the records of a file lie.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace tarvik::cdf {

/// Collects places that must not overlap. A record that is met twice, as where a chain leads to
/// itself, overlaps itself.
class Extents {
 public:
  /// False if an overlap was seen. It is looked for each time the number has doubled, so that a
  /// chain without end is left soon, and the work is that of sorting once.
  bool add(std::int64_t place, std::int64_t size);
  /// The same for a record that may be met more than once.
  void addShared(std::int64_t place, std::int64_t size);
  /// To be asked when all were added; also whether none goes beyond the end.
  bool areApart(std::int64_t end);

 private:
  using Extent =
      std::pair<std::int64_t, std::int64_t>;  ///< Its first place, and the one behind it.

  bool addedAreApart();

  std::vector<Extent> added_;
  std::vector<Extent> shared_;
  std::size_t nextLook_ = 1024;
};

}  // namespace tarvik::cdf
