// Calls of a plug-in: what goes in and comes out, what they leave behind, errors, threads, the end.
#include <dlfcn.h>
#include <filesystem>
#include <memory>
#include <thread>
#include <tuple>
#include <vector>

#include "tests/runtime/support.h"

namespace {

using vlhost::Array;
using Inputs = std::vector<const vlArray*>;

double valueOf(const Array& array) {
  return *static_cast<double*>(vlGetData(array.get()));
}

class OddPlugin : public vlhost::Plugin {
 public:
  OddPlugin() : Plugin(ODD_PLUGIN) {}
  vlhost::Result run(const char* command, int numOutputs = 1, const vlArray* argument = nullptr) {
    const Array name = vlhost::text(command);
    return call(argument == nullptr ? Inputs{name.get()} : Inputs{name.get(), argument},
                numOutputs);
  }
  double number(const char* command, const vlArray* argument = nullptr) {
    return valueOf(run(command, 1, argument).outputs.at(0));
  }
};

/// Warnings as the host shows those that no caller gets.
std::string shown(const std::vector<vlhost::Warning>& warnings) {
  std::string all;
  for (const auto& [id, message] : warnings) {
    all.append("Warning: ").append(message).append(" [").append(id).append("]\n");
  }
  return all;
}

std::string warned() {
  return shown({{"VORLAN:odd:first", std::string(300, 'w')}, {"VORLAN:odd:second", "second"}});
}

class PluginTest : public HostTest {
 protected:
  OddPlugin odd_;
};

TEST_F(PluginTest, TheCallerGetsTheFilledSlotsItAskedForButAlwaysOne) {
  const std::tuple<int, int, std::size_t> kRows[] = {{0, 0, 0},  {0, 1, 1},    {0, 8, 1}, {2, 1, 1},
                                                     {2, 8, 2},  {8, 8, 8},    {9, 8, 8}, {9, 9, 9},
                                                     {-1, 8, 1}, {100, 99, 99}};
  for (const auto& [asked, filled, given] : kRows) {
    const Array count(vlCreateDoubleScalar(filled));
    const vlhost::Result result = odd_.run("fillSlots", asked, count.get());
    EXPECT_EQ(result.outputs.size(), given) << asked << " asked";
    double expected = 0;
    for (const Array& output : result.outputs) EXPECT_EQ(valueOf(output), expected++);
    EXPECT_EQ(vlhost::holdings().arrays, given + 1);
  }
}

TEST_F(PluginTest, OutputsAndValuesThatAreNotTheCallsOwnAreRefused) {
  const Array cell(vlCreateCellMatrix(2, 1));
  vlSetCell(cell.get(), 1, vlCreateCellMatrix(1, 1));
  const vlArray* inner = vlhost::cellValue(cell.get(), 1);
  const auto refuse = [&](const char* command, const char* identifier) {
    for (const int asked : {0, 2, 8}) {
      EXPECT_EQ(errorOf([&] { odd_.run(command, asked, cell.get()); }), identifier) << command;
      EXPECT_EQ(errorOf([&] { odd_.run(command, asked, inner); }), identifier) << command;
    }
  };
  refuse("twice", "VORLAN:badOutput");
  refuse("cellAndItsValue", "VORLAN:badOutput");
  refuse("input", "VORLAN:badOutput");
  refuse("inputIntoCell", "VORLAN:badCell");
  refuse("intoInput", "VORLAN:badCell");
  EXPECT_EQ(vlhost::holdings().arrays, 2u);
  EXPECT_EQ(errorOf([&] { odd_.run("gap", 2); }), "VORLAN:badOutput");
  EXPECT_EQ(odd_.run("gap", 1).outputs.size(), 0u);
}

TEST_F(PluginTest, InputsComeInAnyNumberButNotNullAndNotFromWithinACall) {
  vlhost::Plugin* self = &odd_;
  const Array pointer = vlhost::borrow({1, 1}, vlUINT64_CLASS, &self);
  EXPECT_EQ(errorOf([&] { odd_.run("callAgain", 0, pointer.get()); }), "VORLAN:recursiveCall");
  const Array name = vlhost::text("countInputs");
  for (const int count : {1, 7, 8, 9, 1000}) {
    const Inputs inputs(static_cast<std::size_t>(count), name.get());
    EXPECT_EQ(valueOf(odd_.call(inputs, 1).outputs[0]), count);
  }
  EXPECT_EQ(errorOf([&] { odd_.call({name.get(), nullptr}, 0); }), "VORLAN:badArray");
}

TEST_F(PluginTest, NothingThatACallLeftBehindStaysButItsWarnings) {
  odd_.run("leak");
  EXPECT_EQ(held(), std::pair(0ul, 0ul));
  // A block of the earlier call is gone already; freeing it again must not touch what is alive.
  void* ours = vlMalloc(40);
  for (int i = 0; i < 3; ++i) odd_.run("freeEarlierBlock");
  vlFree(ours);
  EXPECT_EQ(shown(odd_.run("warn").warnings), warned());
  testing::internal::CaptureStderr();
  EXPECT_EQ(errorOf([&] { odd_.run("leakAndFail"); }), "VORLAN:odd:failed");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), warned());
}

TEST_F(PluginTest, EveryAllocationMayFailAndTheNextCallSucceeds) {
  for (int n = 0; n < 6; ++n) {
    const Array name = vlhost::text("build");
    vlhost::failAllocation(n);
    EXPECT_EQ(errorOf([&] { odd_.call({name.get()}, 1); }), n < 5 ? "VORLAN:outOfMemory" : "");
    EXPECT_EQ(held(), std::pair(1ul, 0ul)) << n;
    if (n == 5) vlhost::failAllocation(-1);
    // What a call made is then the program's, inner arrays too.
    const vlhost::Result result = odd_.run("build");
    const vlArray* inner = vlhost::cellValue(result.outputs[0].get(), 1);
    vlSetCell(const_cast<vlArray*>(inner), 0, vlCreateString("added"));
  }
}

TEST_F(PluginTest, ErrorsPassThroughDestructorsAndForeignExceptionsBecomeErrors) {
  const char* const kRows[][3] = {{"failHoldingFour", "VORLAN:odd:deep", "hhh"},
                                  {"throwBadAlloc", "VORLAN:outOfMemory", "Out of memory"},
                                  {"throwLengthError", "VORLAN:outOfMemory", "Out of memory"},
                                  {"throwOwn", "VORLAN:pluginException", "of its own"},
                                  {"throwNumber", "VORLAN:pluginException", "threw"}};
  for (const auto& [command, identifier, words] : kRows) {
    const auto error = raised([&, name = command] { odd_.run(name); });
    EXPECT_EQ(error.first, identifier);
    EXPECT_NE(error.second.find(words), std::string::npos) << error.second;
  }
  EXPECT_EQ(odd_.number("countDestroyed"), 4);
}

TEST_F(PluginTest, ThreadsWaitForEachOther) {
  const auto callOften = [&](double* sum) {
    for (int i = 0; i < 100; ++i) {
      *sum += odd_.number("alone");
      const Array beside = vlhost::text("made while the other thread is in a call");
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
  // A bare name is a file in the current folder, not a library of the system.
  const std::filesystem::path plugin = ODD_PLUGIN;
  std::filesystem::current_path(plugin.parent_path());
  EXPECT_NO_THROW(vlhost::Plugin{plugin.filename()});
  for (const char* file : {"", "missing.so", "libm.so.6", ".", "/proc/self/maps", HOST_LIBRARY}) {
    EXPECT_EQ(errorOf([&] { vlhost::Plugin{file}; }), "VORLAN:invalidPlugin") << file;
  }
}

using UnloadingTest = HostTest;

bool inProcess() {
  void* const handle = dlopen(ODD_PLUGIN, RTLD_NOW | RTLD_NOLOAD);
  return handle != nullptr && dlclose(handle) == 0;
}

TEST_F(UnloadingTest, TheExitHandlerRunsOnceAndThePluginStartsAfresh) {
  const std::pair<const char*, std::string> kRows[] = {
      {"warn", warned()},
      {"leakAndFail", warned() + "Warning: failed after 5 things [VORLAN:odd:failed]\n"},
      {"throwOwn", "Warning: of its own [VORLAN:pluginException]\n"}};
  for (const auto& row : kRows) {
    OddPlugin odd;
    EXPECT_TRUE(inProcess());
    EXPECT_EQ(odd.number("countDestroyed"), 0);  // its statics are new
    errorOf([&] { odd.run("failHoldingFour"); });
    const Array handler = vlhost::text(row.first);
    for (int times = 0; times < 3; ++times) EXPECT_EQ(odd.number("atExit", handler.get()), 0);
    EXPECT_EQ(shown(odd.unload()), row.second);
    EXPECT_FALSE(inProcess());
    EXPECT_EQ(held(), std::pair(1ul, 0ul));
    EXPECT_EQ(shown(odd.unload()), "");
    EXPECT_EQ(errorOf([&] { odd.run("countInputs"); }), "VORLAN:pluginUnloaded");
  }
}

TEST_F(UnloadingTest, TheLastObjectOfAFileTakesItOut) {
  auto first = std::make_unique<OddPlugin>(), second = std::make_unique<OddPlugin>();
  EXPECT_EQ(first->number("atExit", vlhost::text("warn").get()), 0);
  EXPECT_EQ(shown(first->unload()), "");
  first.reset();
  EXPECT_EQ(second->number("countInputs"), 1);
  testing::internal::CaptureStderr();
  second.reset();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), warned());
  EXPECT_FALSE(inProcess());
}

}  // namespace
