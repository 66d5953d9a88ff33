// What the tests of the gateway share: they call it as a host does, through the plug-in's one
// entry, with the genuine CDF library and files in a folder of their own.
#pragma once

#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "runtime/host.h"

using vlhost::Array;

#if defined(__has_feature)
inline constexpr bool underSanitizer = __has_feature(address_sanitizer);
#else
inline constexpr bool underSanitizer = false;
#endif

/// The class that carries elements of a C++ type. Characters are vlChar, logicals bool.
template <typename T>
constexpr vlClassID classOf() {
  if constexpr (std::is_same_v<T, double>) return vlDOUBLE_CLASS;
  if constexpr (std::is_same_v<T, float>) return vlSINGLE_CLASS;
  if constexpr (std::is_same_v<T, std::int8_t>) return vlINT8_CLASS;
  if constexpr (std::is_same_v<T, std::uint8_t>) return vlUINT8_CLASS;
  if constexpr (std::is_same_v<T, std::int16_t>) return vlINT16_CLASS;
  if constexpr (std::is_same_v<T, std::uint16_t>) return vlUINT16_CLASS;
  if constexpr (std::is_same_v<T, std::int32_t>) return vlINT32_CLASS;
  if constexpr (std::is_same_v<T, std::uint32_t>) return vlUINT32_CLASS;
  if constexpr (std::is_same_v<T, std::int64_t>) return vlINT64_CLASS;
  if constexpr (std::is_same_v<T, std::uint64_t>) return vlUINT64_CLASS;
}

/// Every class of an array.
inline constexpr vlClassID allClasses[] = {
    vlCELL_CLASS,   vlLOGICAL_CLASS, vlCHAR_CLASS,   vlDOUBLE_CLASS, vlSINGLE_CLASS,
    vlINT8_CLASS,   vlUINT8_CLASS,   vlINT16_CLASS,  vlUINT16_CLASS, vlINT32_CLASS,
    vlUINT32_CLASS, vlINT64_CLASS,   vlUINT64_CLASS,
};

template <typename T, typename Visit>
bool visitIf(const vlArray* array, Visit visit, vlClassID classId = classOf<T>()) {
  if (vlGetClassID(array) != classId) return false;
  visit(static_cast<T*>(vlGetData(array)), vlGetNumberOfElements(array));
  return true;
}

/// Calls `visit` with the typed elements of an array and their count.
template <typename Visit>
void visitElements(const vlArray* array, Visit visit) {
  const bool visited =
      visitIf<double>(array, visit) || visitIf<float>(array, visit) ||
      visitIf<std::int8_t>(array, visit) || visitIf<std::uint8_t>(array, visit) ||
      visitIf<std::int16_t>(array, visit) || visitIf<std::uint16_t>(array, visit) ||
      visitIf<std::int32_t>(array, visit) || visitIf<std::uint32_t>(array, visit) ||
      visitIf<std::int64_t>(array, visit) || visitIf<std::uint64_t>(array, visit) ||
      visitIf<vlLogical>(array, visit, vlLOGICAL_CLASS) ||
      visitIf<vlChar>(array, visit, vlCHAR_CLASS);
  EXPECT_TRUE(visited) << vlGetClassName(array);
}

using Dims = std::vector<std::size_t>;

/// A zeroed array of the class; cells are empty.
Array newArray(vlClassID classId, const Dims& dims);

/// A numeric row.
template <typename T>
Array row(const std::vector<T>& values) {
  Array array = newArray(classOf<T>(), {1, values.size()});
  std::copy(values.begin(), values.end(), static_cast<T*>(vlGetData(array.get())));
  return array;
}

/// A char array of the given dimensions from 16-bit elements in storage order.
Array chars(const Dims& dims, const std::u16string& elements);

inline Array oneOf(vlClassID classId) {
  return newArray(classId, {1, 1});
}

/// An array of the class with bytes that differ from element to element; text is printable.
Array patterned(vlClassID classId, const Dims& dims);

/// A file identifier as a test carries it.
struct File {
  std::uint64_t handle = 0;
};

/// The library's own handle of a file, for calls past the gateway.
void* handleOf(File file);

/// One input of a call: an array made for it, or one that the test keeps. Copies share the array,
/// so that rows of tables can hold inputs.
struct Input {
  Input(double value) : Input(Array(vlCreateDoubleScalar(value))) {}
  Input(const char* text) : owned(vlhost::text(text)), array(owned.get()) {}
  Input(const std::string& text) : owned(vlhost::text(text)), array(owned.get()) {}
  Input(const std::vector<double>& list) : owned(row(list)), array(owned.get()) {}
  Input(File file) : owned(row<std::uint64_t>({file.handle})), array(owned.get()) {}
  Input(Array made) : owned(std::move(made)), array(owned.get()) {}
  Input(const vlArray* kept) : array(kept) {}

  std::shared_ptr<vlArray> owned;
  const vlArray* array;
};
using Inputs = std::vector<Input>;

/// A list argument, as List{1, 2}.
using List = std::vector<double>;

/// The low 8 bits of a char array's elements.
std::string textOf(const Array& array);
/// The first bytes of an array's data, or of a text as textOf gives it.
std::string bytesOf(const Array& array, std::size_t size);
double numberOf(const Array& array);
Dims dimsOf(const Array& array);
template <typename T>
std::vector<T> valuesOf(const Array& array) {
  EXPECT_EQ(vlGetClassID(array.get()), classOf<T>()) << vlGetClassName(array.get());
  const auto* first = static_cast<const T*>(vlGetData(array.get()));
  return {first, first + vlGetNumberOfElements(array.get())};
}

/// Class, dimensions and elements as one text, as "int32 1x2: 3 4" or "char 1x4: abc<FF80>".
std::string shown(const vlArray* array);
inline std::string shown(const Array& array) {
  return shown(array.get());
}

/// A failed call: what it raised, or two empty texts when it raised nothing.
struct Raised {
  std::string identifier;
  std::string message;
};
inline bool operator==(const Raised& a, const Raised& b) {
  return a.identifier == b.identifier && a.message == b.message;
}
std::ostream& operator<<(std::ostream& out, const Raised& raised);

/// With the tag behind "VORLAN:tarvik:".
inline Raised vorlan(const std::string& tag, const std::string& message) {
  return {"VORLAN:tarvik:" + tag, message};
}

/// Loads the gateway afresh for each test. At the end no file may be registered in it and no host
/// array may be alive that was not before.
class GatewayTest : public testing::Test {
 protected:
  GatewayTest();
  ~GatewayTest() override;
  void TearDown() override;

  /// Calls an operation; an error fails the test. Gives all of its outputs.
  template <typename... Arguments>
  std::vector<Array> call(const char* operation, Arguments&&... arguments) {
    return callWith(operation, pack(std::forward<Arguments>(arguments)...));
  }
  std::vector<Array> callWith(const std::string& operation, const Inputs& inputs);

  /// Calls an operation that must fail.
  template <typename... Arguments>
  Raised raised(const char* operation, Arguments&&... arguments) {
    return raisedWith(operation, pack(std::forward<Arguments>(arguments)...));
  }
  Raised raisedWith(const std::string& operation, const Inputs& inputs);

  /// A path in the test's own folder.
  std::string path(const std::string& name) const { return (folder_ / name).string(); }

  File create(const std::string& name);
  File open(const std::string& name);
  void close(File file) { call("close", file); }

  /// A variable with record variance and all dimensions varying; gives its number.
  double createVar(File file, const std::string& name, double datatype, double numElements = 1,
                   const std::vector<double>& dimSizes = {});

  vlhost::Plugin& gateway() { return *gateway_; }
  /// Loads the gateway again after it was unloaded.
  void reload();
  const std::vector<vlhost::Warning>& warnings() const { return warnings_; }

 private:
  template <typename... Arguments>
  static Inputs pack(Arguments&&... arguments) {
    Inputs inputs;
    (inputs.emplace_back(std::forward<Arguments>(arguments)), ...);
    return inputs;
  }

  vlhost::Holdings before_ = vlhost::holdings();
  std::filesystem::path folder_;
  std::unique_ptr<vlhost::Plugin> gateway_;
  std::vector<vlhost::Warning> warnings_;
};

/// What an operation raises for a status of the library: "CDF library failure, \"TEXT\".".
Raised failureOf(const std::string& operation, long status, const std::string& tag = "failure");
