/// A stand-in for the library's answers, for what the genuine library cannot be brought to do. A
/// program linked with broken_library.cpp exports some of the library's functions; the plug-in
/// finds these first. They forward to the genuine ones but for one answer that a test lays down.
#pragma once

#include <cstddef>
#include <optional>
#include <set>
#include <vector>

namespace broken {

/// Stand for functions where an item is meant.
constexpr long inquireAttr = -1, inquireAttrEntry = -2, getValidate = -3;

/// Whatever the library was given that may be an address.
extern std::set<const void*> received;

/// What a request is answered that contains an item, or calls a function.
struct Answer {
  long item;
  /// A negative status is given in place of the request, a positive one after it has succeeded.
  long status = 0;
  /// Written over what an item of GET_ or CONFIRM_ gave: the scope of CDFinquireAttr, the number of
  /// elements of CDFinquireAttrEntry, the mode of CDFgetValidate.
  std::optional<long> value = std::nullopt;
  /// Which of the item's outputs is written over.
  std::size_t place = 1;
};

/// Lays an answer down for its own life; only one at a time.
struct Answering {
  explicit Answering(const Answer& answer);
  ~Answering();
  Answering(const Answering&) = delete;
  Answering& operator=(const Answering&) = delete;

  /// The files of the requests that were answered so.
  static const std::vector<void*>& files();
};

}  // namespace broken
