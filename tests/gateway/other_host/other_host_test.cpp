// The gateway in a host that is not the project's own gives the same answers.
#include <algorithm>
#include <array>
#include <dlfcn.h>
#include <filesystem>
#include <gtest/gtest.h>

#include "host/plugin.h"
#include "tests/gateway/other_host/host.h"

namespace {

namespace fs = std::filesystem;
using other::Owned;
using Inputs = std::vector<const vlArray*>;

class OtherHostTest : public testing::Test {
 protected:
  OtherHostTest() : module_(dlopen(GATEWAY, RTLD_NOW | RTLD_LOCAL)) {
    entry_ = reinterpret_cast<decltype(entry_)>(dlsym(module_, "vlpFunction"));
    other::log = {};
    std::string name = (fs::temp_directory_path() / "other-host-XXXXXX").string();
    folder_ = mkdtemp(name.data());
  }
  ~OtherHostTest() override { fs::remove_all(folder_); }

  /// Gives the first output, if there is one. All outputs are this host's arrays.
  Owned call(const Inputs& inputs) {
    std::array<vlArray*, 8> slots{};
    Inputs arguments = inputs;
    try {
      entry_(1, slots.data(), static_cast<int>(arguments.size()), arguments.data());
    } catch (...) {
      other::endCall();
      throw;
    }
    Owned first = slots[0] == nullptr ? nullptr : other::take(slots[0]);
    EXPECT_EQ(other::endCall(), 0U);
    return first;
  }

  std::string failure(const Inputs& inputs) {
    try {
      call(inputs);
    } catch (const other::Failure& raised) {
      return raised.identifier + ": " + raised.message;
    }
    return "";
  }

  void unload() {
    other::log.atExit();
    dlclose(module_);
  }

  std::string folder_;

 private:
  void* module_;
  decltype(&vlpFunction) entry_;
};

/// An array kept by the test.
template <typename T>
Owned of(vlClassID classId, const std::vector<T>& values) {
  Owned array = other::make(classId, {1, values.size()});
  std::copy(values.begin(), values.end(), static_cast<T*>(vlGetData(array.get())));
  return array;
}

Owned number(double value) {
  return of<double>(vlDOUBLE_CLASS, {value});
}

Owned text(const std::string& value) {
  return of<vlChar>(vlCHAR_CLASS, {value.begin(), value.end()});
}

template <typename T>
std::vector<T> valuesOf(const Owned& array) {
  const auto* first = static_cast<const T*>(vlGetData(array.get()));
  return {first, first + vlGetNumberOfElements(array.get())};
}

TEST_F(OtherHostTest, GetsTheSameAnswers) {
  const Owned one = number(1), zero = number(0), minusOne = number(-1), int4 = number(4);
  const Owned none = other::make(vlDOUBLE_CLASS, {});
  const Owned extents = of<double>(vlDOUBLE_CLASS, {2, 3});
  const Owned varys = of<vlLogical>(vlLOGICAL_CLASS, {1, 1});
  const Owned values = of<std::int32_t>(vlINT32_CLASS, {1, 2, 3, 4, 5, 6});
  const Owned path = text(folder_ + "/a"), name = text("x"), title = text("title");

  const Owned file = call({text("create").get(), path.get()});
  ASSERT_EQ(file->classId, vlUINT64_CLASS);
  const Owned variable = call({text("createVar").get(), file.get(), name.get(), int4.get(),
                               one.get(), extents.get(), minusOne.get(), varys.get()});
  EXPECT_EQ(valuesOf<double>(variable), std::vector<double>{0});
  call({text("putVarRecordData").get(), file.get(), variable.get(), zero.get(), values.get()});
  const Owned record =
      call({text("getVarRecordData").get(), file.get(), variable.get(), zero.get()});
  EXPECT_EQ(record->dims, (std::vector<size_t>{2, 3}));
  EXPECT_EQ(valuesOf<std::int32_t>(record), valuesOf<std::int32_t>(values));

  call({text("createAttr").get(), file.get(), title.get(), one.get()});
  call({text("putAttrgEntry").get(), file.get(), zero.get(), zero.get(), number(51).get(),
        title.get()});
  const Owned entry = call({text("getAttrgEntry").get(), file.get(), zero.get(), zero.get()});
  EXPECT_EQ(valuesOf<vlChar>(entry), valuesOf<vlChar>(title));
  EXPECT_EQ(call({text("getConstantNames").get()})->cells.size(), 55U);

  EXPECT_EQ(failure({text("inquireVar").get(), file.get(), number(7).get()}),
            "VORLAN:tarvik:inquireVar:failure: CDF library failure, \"NO_SUCH_VAR: Named variable "
            "not found in this CDF.\".");
  EXPECT_EQ(failure({text("getVarName").get(), file.get(), name.get()}),
            "VORLAN:tarvik:unpackLongScalar:argumentNotDoubleScalar: Scalar argument must be "
            "double precision instead of char.");
  EXPECT_EQ(failure({text("createVar").get(), file.get(), title.get(), int4.get(), one.get(),
                     none.get(), extents.get(), none.get()}),
            "VORLAN:tarvik:unpackVariance:illegalVariance: 2.000000 is an illegal variance value.");
  unload();
  EXPECT_EQ(other::log.warnings, std::vector<std::string>{"VORLAN:tarvik:closingFileHandle: "
                                                          "Closing open CDF file handles."});
  EXPECT_GT(fs::file_size(folder_ + "/a.cdf"), 0U);
}

TEST_F(OtherHostTest, KnowsTheExitHandlerAfterACallThatFailed) {
  EXPECT_EQ(other::log.atExit, nullptr);
  EXPECT_EQ(failure({}),
            "VORLAN:tarvik:tooFewArguments: Must provide at least one input argument.");
  ASSERT_NE(other::log.atExit, nullptr);
  unload();
  EXPECT_EQ(other::log.warnings, std::vector<std::string>{});
}

}  // namespace
