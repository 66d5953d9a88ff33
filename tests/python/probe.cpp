// A plug-in for tests of the Python host: tells what it was given and gives what it was told to.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "host/plugin.h"

namespace {

using Inputs = const vlArray* const*;
using Handler = void (*)(vlArray* outputs[], Inputs inputs, int numInputs);

/// The one handle that there is, given out anew by every "open" as the CDF library may do.
constexpr std::uint64_t kHandle = 77;
int opened = 0;
std::atomic<int> running{0};

vlArray* copyOf(const vlArray* array) {
  const std::size_t numDims = vlGetNumberOfDimensions(array);
  const std::size_t* const dims = vlGetDimensions(array);
  const vlClassID classId = vlGetClassID(array);
  std::size_t size = 8;
  vlArray* copy = nullptr;
  if (classId == vlCHAR_CLASS) {
    copy = vlCreateCharArray(numDims, dims);
    size = sizeof(vlChar);
  } else if (classId == vlLOGICAL_CLASS) {
    copy = vlCreateLogicalArray(numDims, dims);
    size = sizeof(vlLogical);
  } else {
    copy = vlCreateNumericArray(numDims, dims, classId, vlREAL);
    const std::string name = vlGetClassName(array);
    if (name.find("16") != std::string::npos) size = 2;
    if (name == "single" || name.find("32") != std::string::npos) size = 4;
    if (name == "int8" || name == "uint8") size = 1;
  }
  std::memcpy(vlGetData(copy), vlGetData(array), vlGetNumberOfElements(array) * size);
  return copy;
}

vlArray* handleArray(std::uint64_t value) {
  vlArray* array = vlCreateNumericMatrix(1, 1, vlUINT64_CLASS, vlREAL);
  *static_cast<std::uint64_t*>(vlGetData(array)) = value;
  return array;
}

double scalar(const vlArray* array) {
  return *static_cast<const double*>(vlGetData(array));
}

double handle(const vlArray* array) {
  return static_cast<double>(*static_cast<const std::uint64_t*>(vlGetData(array)));
}

/// Class, dimensions, address of the elements, and the elements of a text.
void describe(vlArray* outputs[], Inputs inputs, int) {
  const vlArray* const array = inputs[0];
  const std::size_t numDims = vlGetNumberOfDimensions(array);
  outputs[0] = vlCreateString(vlGetClassName(array));
  outputs[1] = vlCreateNumericMatrix(1, numDims, vlDOUBLE_CLASS, vlREAL);
  std::transform(vlGetDimensions(array), vlGetDimensions(array) + numDims,
                 static_cast<double*>(vlGetData(outputs[1])),
                 [](std::size_t extent) { return static_cast<double>(extent); });
  outputs[2] =
      vlCreateDoubleScalar(static_cast<double>(reinterpret_cast<std::uintptr_t>(vlGetData(array))));
}

void echo(vlArray* outputs[], Inputs inputs, int numInputs) {
  for (int i = 0; i < std::min(numInputs, 8); ++i) outputs[i] = copyOf(inputs[i]);
}

/// A column of 16-bit characters with these values.
void characters(vlArray* outputs[], Inputs inputs, int) {
  const std::size_t count = vlGetNumberOfElements(inputs[0]);
  const auto* const codes = static_cast<const double*>(vlGetData(inputs[0]));
  outputs[0] = vlCreateCharArray(vlGetNumberOfDimensions(inputs[0]), vlGetDimensions(inputs[0]));
  std::transform(codes, codes + count, static_cast<vlChar*>(vlGetData(outputs[0])),
                 [](double code) { return static_cast<vlChar>(code); });
}

void cell(vlArray* outputs[], Inputs inputs, int numInputs) {
  outputs[0] = vlCreateCellMatrix(1, static_cast<std::size_t>(numInputs) + 1);
  for (int i = 0; i < numInputs; ++i) {
    vlSetCell(outputs[0], static_cast<std::size_t>(i), copyOf(inputs[i]));
  }
}

void open(vlArray* outputs[], Inputs, int) {
  ++opened;
  outputs[0] = handleArray(kHandle);
}

void close(vlArray*[], Inputs inputs, int numInputs) {
  if (handle(inputs[0]) == 0) vlErrMsgIdAndTxt("PROBE:closed", "closed");
  if (numInputs > 1) vlErrMsgIdAndTxt("PROBE:close:failure", "%s", "the close fails");
}

void use(vlArray* outputs[], Inputs inputs, int) {
  outputs[0] = vlCreateDoubleScalar(handle(inputs[0]));
  outputs[1] = vlCreateDoubleScalar(opened);
}

/// Sleeps some seconds; gives how many calls were at work meanwhile.
void sleep(vlArray* outputs[], Inputs inputs, int) {
  ++running;
  std::this_thread::sleep_for(std::chrono::duration<double>(scalar(inputs[0])));
  outputs[0] = vlCreateDoubleScalar(running--);
}

void warn(vlArray* outputs[], Inputs inputs, int) {
  vlWarningMsgIdAndTxt("PROBE:warning", "%s", vlArrayToString(inputs[0]));
  outputs[0] = vlCreateDoubleScalar(1);
}

/// Ends the process as the C library does when it finds the heap broken.
void crash(vlArray*[], Inputs, int) {
  std::fputs("the heap is broken\n", stderr);
  std::abort();
}

/// Raises the error with the given identifier and message.
void fail(vlArray*[], Inputs inputs, int) {
  vlErrMsgIdAndTxt(vlArrayToString(inputs[0]), "%s", vlArrayToString(inputs[1]));
}

constexpr struct {
  const char* name;
  Handler handler;
} kOperations[] = {
    {"describe", describe}, {"echo", echo},   {"characters", characters},
    {"cell", cell},         {"open", open},   {"close", close},
    {"use", use},           {"sleep", sleep}, {"warn", warn},
    {"fail", fail},         {"crash", crash},
};

}  // namespace

extern "C" void vlpFunction(int, vlArray* outputSlots[], int numInputs,
                            const vlArray* inputArgs[]) {
  const std::string name = vlArrayToString(inputArgs[0]);
  for (const auto& operation : kOperations) {
    if (name == operation.name) return operation.handler(outputSlots, inputArgs + 1, numInputs - 1);
  }
  vlErrMsgIdAndTxt("PROBE:unknown", "no operation \"%s\"", name.c_str());
}
