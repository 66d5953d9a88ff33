// A plug-in that does on demand what a plug-in may do, and what it should not.
#include <atomic>
#include <chrono>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "host/plugin.h"
#include "runtime/host.h"

namespace {

struct Call {
  int numOutputs;
  vlArray** slots;
  int numInputs;
  const vlArray** inputs;

  double number(int input) const { return *static_cast<double*>(vlGetData(inputs[input])); }
};

vlArray* scalar(double value) {
  return vlCreateDoubleScalar(value);
}

// --- Outputs ---

void fillSlots(const Call& call) {
  const int count = static_cast<int>(call.number(1));
  for (int i = 0; i < count; ++i) call.slots[i] = scalar(i);
}

void emptySlots(const Call& call) {
  const int least = call.numOutputs > 8 ? call.numOutputs : 8;
  int empty = 0;
  while (empty < least && call.slots[empty] == nullptr) ++empty;
  call.slots[0] = scalar(empty);
}

void countInputs(const Call& call) {
  call.slots[0] = scalar(call.numInputs);
}

void gap(const Call& call) {
  call.slots[0] = scalar(0);
  call.slots[2] = scalar(2);
}

void twice(const Call& call) {
  call.slots[0] = call.slots[1] = scalar(0);
}

void twiceFarApart(const Call& call) {
  call.slots[0] = call.slots[7] = scalar(0);
}

vlArray* cellWith(vlArray* value) {
  vlArray* cell = vlCreateCellMatrix(2, 1);
  vlSetCell(cell, 1, value);
  return cell;
}

void cellAndItsValue(const Call& call) {
  call.slots[0] = scalar(0);
  call.slots[1] = cellWith(call.slots[0]);
}

void input(const Call& call) {
  call.slots[0] = const_cast<vlArray*>(call.inputs[1]);
}

void inputIntoCell(const Call& call) {
  cellWith(const_cast<vlArray*>(call.inputs[1]));
}

void intoInputCell(const Call& call) {
  vlSetCell(const_cast<vlArray*>(call.inputs[1]), 0, scalar(0));
}

void intoInputInnerCell(const Call& call) {
  vlSetCell(const_cast<vlArray*>(vlhost::cellValue(call.inputs[1], 1)), 0, scalar(0));
}

// --- Leaving things behind ---

void* earlierBlock = nullptr;

void leak(const Call& /*call*/) {
  cellWith(cellWith(vlCreateString("lost")));
  vlCreateNumericMatrix(1 << 18, 1, vlDOUBLE_CLASS, vlREAL);
  earlierBlock = vlMalloc(40);
  for (std::size_t i = 0; i < 100; ++i) vlMalloc(i);
  vlMalloc(std::size_t{3} << 20);
}

void freeEarlierBlock(const Call& /*call*/) {
  vlFree(earlierBlock);
}

void leakAndFail(const Call& call) {
  leak(call);
  call.slots[0] = scalar(1);
  vlWarningMsgIdAndTxt("VORLAN:odd:before", "before the error");
  vlErrMsgIdAndTxt("VORLAN:odd:failed", "failed after %d things", 5);
}

/// A cell of a large array, a text that went through a block, and a cell: six allocations.
void build(const Call& call) {
  vlArray* cell = vlCreateCellMatrix(3, 1);
  vlSetCell(cell, 0, vlCreateNumericMatrix(1 << 18, 1, vlDOUBLE_CLASS, vlREAL));
  char* text = vlArrayToString(call.inputs[0]);
  vlSetCell(cell, 1, vlCreateString(text));
  vlFree(text);
  vlArray* inner = vlCreateCellMatrix(2, 1);
  vlSetCell(cell, 2, inner);
  vlSetCell(inner, 1, scalar(1));
  call.slots[0] = cell;
}

// --- Exceptions ---

int destroyed = 0;

struct Destructible {
  std::string held = std::string(100, 'h');
  ~Destructible() { ++destroyed; }
};

void failHolding(const Destructible& held) {
  const Destructible frame;
  vlpErrMsgIdAndTxt("VORLAN:odd:deep", "%s", held.held.c_str());
}

/// Five objects are held, in two frames, when the error is raised.
void failWithDestructors(const Call& /*call*/) {
  const std::vector<Destructible> some(3);
  const auto one = std::make_unique<Destructible>();
  failHolding(*one);
}

void countDestroyed(const Call& call) {
  call.slots[0] = scalar(destroyed);
}

struct OwnException : std::exception {
  const char* what() const noexcept override { return "of its own"; }
};

void throwBadAlloc(const Call& /*call*/) {
  throw std::bad_alloc();
}
void throwLengthError(const Call& /*call*/) {
  throw std::length_error("too long");
}
void throwOwn(const Call& /*call*/) {
  throw OwnException();
}
void throwNumber(const Call& /*call*/) {
  throw 42;
}

// --- Warnings and the exit handler ---

void warn(const Call& /*call*/) {
  vlWarningMsgIdAndTxt("VORLAN:odd:first", "first, with %s", std::string(300, 'w').c_str());
  vlpWarnMsgIdAndTxt("VORLAN:odd:second", "second");
}

void exitQuietly() {
  vlpWarnMsgIdAndTxt("VORLAN:odd:exit", "leaving");
}

void exitBadly() {
  exitQuietly();
  cellWith(vlCreateString("lost at exit"));
  vlMalloc(10);
  vlErrMsgIdAndTxt("VORLAN:odd:exitFailed", "failed at exit");
}

void exitThrowing() {
  throw OwnException();
}

void atExit(const Call& call) {
  constexpr void (*kHandlers[])() = {exitQuietly, exitBadly, exitThrowing};
  call.slots[0] = scalar(vlpAtExit(kHandlers[static_cast<int>(call.number(1))]));
}

// --- Calls within and beside calls ---

void callAgain(const Call& call) {
  (*static_cast<vlhost::Plugin**>(vlGetData(call.inputs[1])))->call({call.inputs[0]}, 0);
}

std::atomic<int> running{0};

void alone(const Call& call) {
  const int others = running++;
  std::this_thread::sleep_for(std::chrono::microseconds(200));
  --running;
  call.slots[0] = scalar(others);
}

struct Command {
  const char* name;
  void (*run)(const Call&);
};

constexpr Command kCommands[] = {
    {"fillSlots", fillSlots},
    {"emptySlots", emptySlots},
    {"countInputs", countInputs},
    {"gap", gap},
    {"twice", twice},
    {"twiceFarApart", twiceFarApart},
    {"cellAndItsValue", cellAndItsValue},
    {"input", input},
    {"inputIntoCell", inputIntoCell},
    {"intoInputCell", intoInputCell},
    {"intoInputInnerCell", intoInputInnerCell},
    {"leak", leak},
    {"freeEarlierBlock", freeEarlierBlock},
    {"leakAndFail", leakAndFail},
    {"build", build},
    {"failWithDestructors", failWithDestructors},
    {"countDestroyed", countDestroyed},
    {"throwBadAlloc", throwBadAlloc},
    {"throwLengthError", throwLengthError},
    {"throwOwn", throwOwn},
    {"throwNumber", throwNumber},
    {"warn", warn},
    {"atExit", atExit},
    {"callAgain", callAgain},
    {"alone", alone},
};

/// The call's name without a host block, so that tests count only what they ask for.
std::string nameOf(const vlArray* row) {
  const auto* elements = static_cast<const vlChar*>(vlGetData(row));
  std::string name;
  for (std::size_t i = 0; i < vlGetNumberOfElements(row); ++i) {
    name += static_cast<char>(elements[i]);
  }
  return name;
}

}  // namespace

void vlpFunction(int numOutputs, vlArray* outputSlots[], int numInputs,
                 const vlArray* inputArgs[]) {
  const std::string name = nameOf(inputArgs[0]);
  for (const Command& command : kCommands) {
    if (name == command.name) return command.run({numOutputs, outputSlots, numInputs, inputArgs});
  }
  vlErrMsgIdAndTxt("VORLAN:odd:unknown", "no command %s", name.c_str());
}
