// A plug-in that does on demand what a plug-in may do, and what it should not.
#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

#include "host/plugin.h"
#include "runtime/host.h"

namespace {

struct Call {
  vlArray** slots;
  int numInputs;
  const vlArray** inputs;
  vlArray* argument() const { return const_cast<vlArray*>(inputs[1]); }
  void give(double value) const { slots[0] = vlCreateDoubleScalar(value); }
} call;  // one at a time

using Action = void (*)();
Action commandOf(const vlArray* text);

vlArray* cellWith(vlArray* value) {
  vlArray* cell = vlCreateCellMatrix(2, 1);
  vlSetCell(cell, 1, value);
  return cell;
}

/// A large array in a cell in a cell, and a text that went through a block: five allocations.
void build() {
  call.slots[0] = cellWith(cellWith(vlCreateNumericMatrix(1 << 18, 1, vlDOUBLE_CLASS, vlREAL)));
  char* text = vlArrayToString(call.inputs[0]);
  vlSetCell(call.slots[0], 0, vlCreateString(text));
  vlFree(text);
}

void* earlierBlock = nullptr;
std::atomic<int> running{0};
int destroyed = 0;

void leak() {
  cellWith(cellWith(vlCreateString("lost")));
  vlCreateNumericMatrix(1 << 18, 1, vlDOUBLE_CLASS, vlREAL);
  earlierBlock = vlMalloc(40);
  for (std::size_t i = 0; i < 100; ++i) vlMalloc(i);
  vlMalloc(std::size_t{3} << 20);
}

void warn() {
  vlWarningMsgIdAndTxt("VORLAN:odd:first", "%s", std::string(300, 'w').c_str());
  vlpWarnMsgIdAndTxt("VORLAN:odd:second", "second");
}

struct Destructible {
  ~Destructible() { ++destroyed; }
};

struct OwnException : std::exception {
  const char* what() const noexcept override { return "of its own"; }
};

constexpr struct Command {
  const char* name;
  Action run;
} kCommands[] = {
    {"countInputs", [] { call.give(call.numInputs); }},
    {"fillSlots",
     [] {
       const double count = *static_cast<double*>(vlGetData(call.argument()));
       for (int i = 0; i < count; ++i) call.slots[i] = vlCreateDoubleScalar(i);
     }},
    {"gap", [] { call.slots[1] = vlCreateString(""); }},
    {"twice", [] { call.slots[0] = call.slots[7] = vlCreateString(""); }},
    {"cellAndItsValue", [] { call.slots[1] = cellWith(call.slots[0] = vlCreateString("")); }},
    {"input", [] { call.slots[0] = call.argument(); }},
    {"inputIntoCell", [] { cellWith(call.argument()); }},
    {"intoInput", [] { vlSetCell(call.argument(), 0, vlCreateString("")); }},
    {"build", build},
    {"leak", leak},
    {"freeEarlierBlock", [] { vlFree(earlierBlock); }},
    {"warn", warn},
    {"leakAndFail",
     [] {
       leak();
       warn();
       vlErrMsgIdAndTxt("VORLAN:odd:failed", "failed after %d things", 5);
     }},
    {"failHoldingFour",
     [] {
       const std::vector<Destructible> four(4);
       vlpErrMsgIdAndTxt("VORLAN:odd:deep", "%s", std::string(100, 'h').c_str());
     }},
    {"countDestroyed", [] { call.give(destroyed); }},
    {"throwBadAlloc", [] { throw std::bad_alloc(); }},
    {"throwLengthError", [] { throw std::length_error("too long"); }},
    {"throwOwn", [] { throw OwnException(); }},
    {"throwNumber", [] { throw 42; }},
    {"atExit", [] { call.give(vlpAtExit(commandOf(call.argument()))); }},
    {"callAgain",
     [] {
       (*static_cast<vlhost::Plugin**>(vlGetData(call.argument())))->call({call.inputs[0]}, 0);
     }},
    {"alone",
     [] {
       const int others = running++;
       usleep(200);
       --running;
       call.give(others);
     }},
};

/// Needs no block of the host, so that tests count only what they ask for.
Action commandOf(const vlArray* text) {
  const auto* elements = static_cast<const vlChar*>(vlGetData(text));
  const std::string name(elements, elements + vlGetNumberOfElements(text));
  for (const auto& command : kCommands) {
    if (command.name == name) return command.run;
  }
  vlErrMsgIdAndTxt("VORLAN:odd:unknown", "There is no command %s.", name.c_str());
}

}  // namespace

void vlpFunction(int numOutputs, vlArray* outputSlots[], int numInputs,
                 const vlArray* inputArgs[]) {
  call = {outputSlots, numInputs, inputArgs};
  const int numSlots = std::max(8, numOutputs);
  if (std::count(outputSlots, outputSlots + numSlots, nullptr) != numSlots) throw "filled slots";
  commandOf(inputArgs[0])();
}
