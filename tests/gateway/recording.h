/// The calls that the library is given, each as a text:
///
///     CDFlib SELECT_ CDF_ f zVAR_ 0 GET_ zVAR_NAME_ * NULL_
///     CDFgetVarNum f "numbers"
///
/// Items by their names, files by those that the test gives them, dimension lists as [3 2], texts
/// in quotes. * stands for what the library writes to and for values that it reads.
#pragma once

#include <array>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

namespace broken {

/// An item list as machine words, NULL_ and zeros behind it. No argument of a test is 1000.
using ItemList = std::array<long, 48>;

inline void* pointer(long word) {
  return reinterpret_cast<void*>(word);
}

/// Records while it lives; only one at a time.
class Recording {
 public:
  using Files = std::map<const void*, std::string>;

  /// The library does not see the first call whose text is `refused`: its answer is the status.
  explicit Recording(Files files, std::string refused = "", long status = 0);
  ~Recording();
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;

  const std::vector<std::string>& calls() const { return calls_; }
  /// The file of the call that was refused.
  void* refusedFile() const { return refusedFile_; }

  /// Gives the answer in place of the library's, if there is one.
  template <typename... Arguments>
  static std::optional<long> note(const char* function, Arguments... arguments) {
    if (current == nullptr || depth > 0) return {};
    std::string text = function;
    (text.append(" ").append(current->shown(arguments)), ...);
    return current->add(text, nullptr);
  }
  static std::optional<long> note(const ItemList& list);

  /// While it lives, calls are not recorded: the library makes them itself.
  struct Within {
    Within() { ++depth; }
    ~Within() { --depth; }
  };

 private:
  std::optional<long> add(const std::string& text, void* file);

  template <typename Argument>
  std::string shown(Argument argument) const {
    if constexpr (std::is_same_v<Argument, const char*>) return '"' + std::string(argument) + '"';
    if constexpr (std::is_pointer_v<Argument>) return shownAddress(argument);
    std::ostringstream out;
    out.precision(17);
    out << argument;
    return out.str();
  }
  std::string shownAddress(const void* address) const;
  std::string listed(const ItemList& list) const;

  static Recording* current;
  static int depth;

  Files files_;
  std::string refused_;
  long status_;
  void* refusedFile_ = nullptr;
  std::vector<std::string> calls_;
};

}  // namespace broken
