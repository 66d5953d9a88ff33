// The gateway in a host that is not the project's own and shares nothing with it but the
// declarations in host/: other arrays, other memory, other exceptions. It gives the same answers.
#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <deque>
#include <dlfcn.h>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <numeric>
#include <set>

#include "host/array.h"
#include "host/plugin.h"

struct vlArray {
  vlClassID classId;
  std::vector<std::size_t> dims;
  std::vector<unsigned char> bytes;
};

namespace {

/// What the gateway's errors are thrown as. Deliberately no std::exception.
struct Failure {
  std::string text;
};

std::deque<vlArray> arrays;  // All that were ever made.
std::set<void*> blocks;      // Those that are not freed.
std::vector<std::string> warnings;
std::string
    events;  // Of a call: s for a string made of an array, f for a block freed, a for an array.
void (*atExit)() = nullptr;

vlArray* make(vlClassID classId, std::size_t numDims, const std::size_t* dims) {
  events += 'a';
  constexpr std::size_t bytes[] = {0, 8, 0, 1, 2, 8, 4, 1, 1, 2, 2, 4, 4, 8, 8};  // By class.
  vlArray& array = arrays.emplace_back(vlArray{classId, {dims, dims + numDims}, {}});
  array.bytes.resize(vlGetNumberOfElements(&array) * bytes[classId]);
  return &array;
}

template <typename T>
vlArray* of(vlClassID classId, const std::vector<T>& values) {
  const std::size_t dims[] = {1, values.size()};
  vlArray* array = make(classId, 2, dims);
  std::copy(values.begin(), values.end(), static_cast<T*>(vlGetData(array)));
  return array;
}

std::string described(const char* identifier, const char* format, va_list arguments) {
  char text[512];
  std::vsnprintf(text, sizeof(text), format, arguments);
  return std::string(identifier) + ": " + text;
}

}  // namespace

extern "C" {

vlClassID vlGetClassID(const vlArray* array) {
  return array->classId;
}
const char* vlGetClassName(const vlArray* array) {
  return array->classId == vlCHAR_CLASS ? "char" : "another";
}
std::size_t vlGetNumberOfElements(const vlArray* array) {
  return std::accumulate(array->dims.begin(), array->dims.end(), std::size_t{1},
                         std::multiplies<>());
}
std::size_t vlGetNumberOfDimensions(const vlArray* array) {
  return array->dims.size();
}
const std::size_t* vlGetDimensions(const vlArray* array) {
  return array->dims.data();
}
void* vlGetData(const vlArray* array) {
  return const_cast<unsigned char*>(array->bytes.data());
}
vlLogical* vlGetLogicals(const vlArray* array) {
  return array->classId == vlLOGICAL_CLASS ? static_cast<vlLogical*>(vlGetData(array)) : nullptr;
}
char* vlArrayToString(const vlArray* array) {
  events += 's';
  const std::size_t count = vlGetNumberOfElements(array);
  const auto* units = static_cast<const vlChar*>(vlGetData(array));
  auto* text = static_cast<char*>(vlMalloc(count + 1));
  std::transform(units, units + count, text, [](vlChar unit) { return static_cast<char>(unit); });
  text[count] = '\0';
  return text;
}
vlArray* vlCreateDoubleScalar(double value) {
  return of<double>(vlDOUBLE_CLASS, {value});
}
vlArray* vlCreateString(const char* text) {
  return of<vlChar>(vlCHAR_CLASS, {text, text + std::strlen(text)});
}
vlArray* vlCreateCharArray(std::size_t numDims, const std::size_t* dims) {
  return make(vlCHAR_CLASS, numDims, dims);
}
vlArray* vlCreateNumericArray(std::size_t numDims, const std::size_t* dims, vlClassID classId,
                              vlComplexity) {
  return make(classId, numDims, dims);
}
vlArray* vlCreateNumericMatrix(std::size_t rows, std::size_t columns, vlClassID classId,
                               vlComplexity) {
  const std::size_t dims[] = {rows, columns};
  return make(classId, 2, dims);
}
vlArray* vlCreateLogicalArray(std::size_t numDims, const std::size_t* dims) {
  return make(vlLOGICAL_CLASS, numDims, dims);
}
vlArray* vlCreateCellMatrix(std::size_t rows, std::size_t columns) {
  return vlCreateNumericMatrix(rows, columns, vlCELL_CLASS, vlREAL);
}
void vlSetCell(vlArray* cell, std::size_t index, vlArray* value) {
  static_cast<vlArray**>(vlGetData(cell))[index] = value;
}
void* vlMalloc(std::size_t size) {
  return *blocks.insert(std::malloc(size)).first;
}
void vlFree(void* block) {
  events += 'f';
  blocks.erase(block);
  std::free(block);
}
int vlpAtExit(void (*handler)(void)) {
  atExit = handler;
  return 0;
}
void vlErrMsgIdAndTxt(const char* identifier, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  throw Failure{described(identifier, format, arguments)};
}
void vlWarningMsgIdAndTxt(const char* identifier, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  warnings.push_back(described(identifier, format, arguments));
  va_end(arguments);
}
__attribute__((alias("vlErrMsgIdAndTxt"))) void vlpErrMsgIdAndTxt(const char*, const char*, ...);
__attribute__((alias("vlWarningMsgIdAndTxt"))) void vlpWarnMsgIdAndTxt(const char*, const char*,
                                                                       ...);

}  // extern "C"

namespace {

/// One that takes back what a failed call left, and one that never reclaims anything.
class OtherHostTest : public testing::TestWithParam<bool> {
 protected:
  /// The first output, if there is one; what was raised as a text.
  vlArray* call(const char* operation, std::vector<const vlArray*> inputs) {
    inputs.insert(inputs.begin(), vlCreateString(operation));
    return enter(inputs);
  }
  vlArray* enter(std::vector<const vlArray*> inputs) {
    vlArray* slots[8] = {};
    events.clear();
    try {
      entry_(1, slots, static_cast<int>(inputs.size()), inputs.data());
    } catch (const Failure& failure) {
      if (GetParam()) {
        std::for_each(blocks.begin(), blocks.end(), std::free);
        blocks.clear();
      }
      return vlCreateString(failure.text.c_str());
    }
    EXPECT_TRUE(blocks.empty() || !GetParam());
    // The operation's name is freed before the operation begins.
    EXPECT_EQ(events.substr(0, 2), "sf");
    return slots[0];
  }

  void* module_ = dlopen(GATEWAY, RTLD_NOW | RTLD_LOCAL);
  decltype(&vlpFunction) entry_ =
      reinterpret_cast<decltype(&vlpFunction)>(dlsym(module_, "vlpFunction"));
};

std::string textOf(const vlArray* array) {
  const std::unique_ptr<char, void (*)(void*)> text(vlArrayToString(array), vlFree);
  return text.get();
}

INSTANTIATE_TEST_SUITE_P(Reclaiming, OtherHostTest, testing::Bool());

TEST_P(OtherHostTest, GetsTheSameAnswers) {
  std::string folder = (std::filesystem::temp_directory_path() / "other-host-XXXXXX").string();
  ASSERT_NE(mkdtemp(folder.data()), nullptr);
  const vlArray* const zero = vlCreateDoubleScalar(0);
  const vlArray* const one = vlCreateDoubleScalar(1);
  const vlArray* const minusOne = vlCreateDoubleScalar(-1);
  const vlArray* const int4 = vlCreateDoubleScalar(4);
  const vlArray* const text = vlCreateDoubleScalar(51);
  const vlArray* const extents = of<double>(vlDOUBLE_CLASS, {2, 3});
  const vlArray* const varys = of<vlLogical>(vlLOGICAL_CLASS, {1, 1});
  const vlArray* const values = of<std::int32_t>(vlINT32_CLASS, {1, 2, 3, 4, 5, 6});
  const vlArray* const title = vlCreateString("title");

  // The handler is known even after a call that failed.
  EXPECT_EQ(textOf(enter({})),
            "VORLAN:tarvik:tooFewArguments: Must provide at least one input argument.");
  ASSERT_NE(atExit, nullptr);
  const vlArray* const file = call("create", {vlCreateString((folder + "/a").c_str())});
  ASSERT_EQ(file->classId, vlUINT64_CLASS);
  call("createVar", {file, vlCreateString("x"), int4, one, extents, minusOne, varys});
  call("putVarRecordData", {file, zero, zero, values});
  const vlArray* const record = call("getVarRecordData", {file, zero, zero});
  EXPECT_EQ(record->dims, (std::vector<std::size_t>{2, 3}));
  EXPECT_EQ(record->bytes, values->bytes);
  call("createAttr", {file, title, one});
  call("putAttrgEntry", {file, zero, zero, text, title});
  EXPECT_EQ(textOf(call("getAttrgEntry", {file, zero, zero})), "title");
  EXPECT_EQ(vlGetNumberOfElements(call("getConstantNames", {})), 55U);
  for (const char* longest : {"getCompressionCacheSize", "setCompressionCacheSize"}) {
    call(longest, longest[0] == 'g' ? std::vector{file} : std::vector{file, one});
  }

  EXPECT_EQ(textOf(call("inquireVar", {file, vlCreateDoubleScalar(7)})),
            "VORLAN:tarvik:inquireVar:failure: CDF library failure, \"NO_SUCH_VAR: Named variable "
            "not found in this CDF.\".");
  EXPECT_EQ(textOf(call("getVarName", {file, title})),
            "VORLAN:tarvik:unpackLongScalar:argumentNotDoubleScalar: Scalar argument must be "
            "double precision instead of char.");
  warnings.clear();
  atExit();
  dlclose(module_);
  EXPECT_EQ(warnings, std::vector<std::string>{"VORLAN:tarvik:closingFileHandle: "
                                               "Closing open CDF file handles."});
  EXPECT_GT(std::filesystem::file_size(folder + "/a.cdf"), 0U);
  std::filesystem::remove_all(folder);
}

}  // namespace
