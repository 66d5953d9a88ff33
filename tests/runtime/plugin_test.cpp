// Calls: what they leave behind, errors, warnings, threads.

#include <filesystem>
#include <thread>

#include "tests/runtime/odd.h"

namespace {

class PluginTest : public HostTest {
 protected:
  OddPlugin odd_;
};

TEST_F(PluginTest, NothingThatACallLeftBehindStays) {
  odd_.run("leak");
  EXPECT_EQ(vlhost::holdings(), (vlhost::Holdings{0, 0}));
  // A block of the earlier call is gone already; freeing it again must not touch what is alive.
  void* ours = vlMalloc(40);
  for (int i = 0; i < 3; ++i) odd_.run("freeEarlierBlock");
  vlFree(ours);
  EXPECT_EQ(errorOf([&] { odd_.run("leakAndFail"); }), "VORLAN:odd:failed");
}

TEST_F(PluginTest, EveryAllocationMayFail) {
  const vlhost::Array name = vlhost::text("build");
  const vlhost::Holdings before = vlhost::holdings();
  int failures = 0;
  std::string error;
  for (;; ++failures) {
    vlhost::failAllocation(failures);
    error = errorOf([&] { odd_.call({name.get()}, 1); });
    EXPECT_EQ(vlhost::holdings(), before) << failures;
    if (error != "VORLAN:outOfMemory") break;
  }
  vlhost::failAllocation(-1);
  EXPECT_EQ(error, "");
  EXPECT_EQ(failures, 6);  // as many as the call makes
}

TEST_F(PluginTest, ErrorsPassThroughThePluginsDestructors) {
  try {
    odd_.run("failWithDestructors");
    FAIL();
  } catch (const vlhost::Error& error) {
    EXPECT_EQ(error.identifier(), "VORLAN:odd:deep");
    EXPECT_EQ(error.what(), std::string(100, 'h'));
  }
  EXPECT_EQ(odd_.number("countDestroyed"), 5);
}

TEST_F(PluginTest, ForeignExceptionsBecomeErrors) {
  const struct {
    const char *command, *identifier, *words;
  } kRows[] = {
      {"throwBadAlloc", "VORLAN:outOfMemory", "Out of memory"},
      {"throwLengthError", "VORLAN:outOfMemory", "Out of memory"},
      {"throwOwn", "VORLAN:pluginException", "of its own"},
      {"throwNumber", "VORLAN:pluginException", "threw"},
  };
  for (const auto& row : kRows) {
    try {
      odd_.run(row.command);
      FAIL() << row.command;
    } catch (const vlhost::Error& error) {
      EXPECT_EQ(error.identifier(), row.identifier);
      EXPECT_NE(std::string(error.what()).find(row.words), std::string::npos) << error.what();
    }
  }
}

TEST_F(PluginTest, WarningsComeInOrderAndThoseOfAFailedCallAreShown) {
  const vlhost::Result result = odd_.run("warn");
  ASSERT_EQ(result.warnings.size(), 2u);
  EXPECT_EQ(result.warnings[0].identifier, "VORLAN:odd:first");
  EXPECT_EQ(result.warnings[0].message, "first, with " + std::string(300, 'w'));
  EXPECT_EQ(result.warnings[1].identifier, "VORLAN:odd:second");

  testing::internal::CaptureStderr();
  EXPECT_EQ(errorOf([&] { odd_.run("leakAndFail"); }), "VORLAN:odd:failed");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Warning: before the error [VORLAN:odd:before]\n");
}

TEST_F(PluginTest, InputsArePassedInAnyNumberButNotNull) {
  const vlhost::Array name = vlhost::text("countInputs");
  for (const std::size_t count : {1u, 7u, 8u, 9u, 1000u}) {
    const std::vector<const vlArray*> inputs(count, name.get());
    const vlhost::Result result = odd_.call(inputs, 1);
    EXPECT_EQ(*static_cast<double*>(vlGetData(result.outputs[0].get())),
              static_cast<double>(count));
  }
  EXPECT_EQ(errorOf([&] { odd_.call({name.get(), nullptr}, 0); }), "VORLAN:badArray");
}

TEST_F(PluginTest, ACallWithinACallIsRefused) {
  vlhost::Plugin* self = &odd_;
  const vlhost::Array pointer = vlhost::borrow({1, 1}, vlUINT64_CLASS, &self);
  EXPECT_EQ(errorOf([&] { odd_.run("callAgain", 0, pointer.get()); }), "VORLAN:recursiveCall");
  EXPECT_EQ(odd_.number("countInputs"), 1);
}

TEST_F(PluginTest, ThreadsWaitForEachOther) {
  const auto callOften = [&](double* sum) {
    for (int i = 0; i < 100; ++i) {
      *sum += odd_.number("alone");
      const vlhost::Array beside = vlhost::text("made while the other thread is in a call");
      vlFree(vlArrayToString(beside.get()));
    }
  };
  double others[2] = {};
  std::thread second(callOften, &others[1]);
  callOften(&others[0]);
  second.join();
  EXPECT_EQ(others[0] + others[1], 0);
}

TEST_F(PluginTest, FilesThatAreNoPluginAreRefused) {
  namespace fs = std::filesystem;
  const fs::path plugin = ODD_PLUGIN;
  for (const fs::path& file : {fs::path(), fs::path("missing.so"), plugin.parent_path(),
                               fs::path("/proc/self/maps"), fs::path(HOST_LIBRARY)}) {
    EXPECT_EQ(errorOf([&] { vlhost::Plugin{file}; }), "VORLAN:invalidPlugin") << file;
  }
  // A bare name is a file in the current folder, not a library of the system.
  const fs::path before = fs::current_path();
  fs::current_path(plugin.parent_path());
  EXPECT_NO_THROW(vlhost::Plugin{plugin.filename()});
  fs::current_path(before);
}

}  // namespace
