#include "tests/gateway/broken_library.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstring>
#include <dlfcn.h>
#include <tuple>

#include "cdf/functions.h"
#include "cdf/library.h"

namespace broken {

std::set<const void*> received;

namespace {

void note(const void* memory) {
  received.insert(memory);
}
void note(long) {}

std::optional<Answer> laidDown;
std::vector<CDFid> answered;

bool concerns(long item) {
  return laidDown && laidDown->item == item;
}

template <typename F>
F* genuine(const char* name, F*) {
  static void* const library = dlopen(CDF_LIBRARY, RTLD_NOW);
  return reinterpret_cast<F*>(dlsym(library, name));
}

template <typename Request>
CDFstatus answer(CDFid file, Request request, long* output) {
  answered.push_back(file);
  if (laidDown->status < 0) return laidDown->status;
  const CDFstatus status = request();
  if (laidDown->value && output != nullptr) *output = *laidDown->value;
  return status == 0 ? laidDown->status : status;
}

/// A request made by a function is one on a file, as if its list had the item.
template <typename F, typename... Arguments>
CDFstatus standIn(long item, long* output, F* genuineOne, CDFid file, Arguments... arguments) {
  (note(arguments), ...);
  const auto request = [&] { return genuineOne(file, arguments...); };
  return concerns(item) || concerns(tarvik::CDF_) ? answer(file, request, output) : request();
}

/// An item list as machine words, NULL_ and zeros behind it. No argument of a test is 1000.
using ItemList = std::array<long, 48>;

void* pointer(long word) {
  void* result = nullptr;
  std::memcpy(&result, &word, sizeof(result));
  return result;
}

/// The file that the list selects first, or null.
CDFid fileOf(const ItemList& list) {
  return list[0] == tarvik::SELECT_ && list[1] == tarvik::CDF_ ? pointer(list[2]) : nullptr;
}

/// Where the library writes what the item gives, or null for an item that gives nothing.
long* outputOf(const ItemList& list) {
  long function = tarvik::NULL_;
  for (std::size_t i = 0; list[i] != tarvik::NULL_; ++i) {
    if (list[i] > tarvik::NULL_ && list[i] <= tarvik::PUT_) function = list[i];
    if (list[i] == laidDown->item && (function == tarvik::GET_ || function == tarvik::CONFIRM_)) {
      return static_cast<long*>(pointer(list[i + laidDown->place]));
    }
  }
  return nullptr;
}

}  // namespace

Answering::Answering(const Answer& answer) {
  laidDown = answer;
  answered.clear();
}

Answering::~Answering() {
  laidDown.reset();
}

const std::vector<void*>& Answering::files() {
  return answered;
}

}  // namespace broken

#define GENUINE(function) broken::genuine(#function, function)

extern "C" {

CDFstatus CDFlib(long function, ...) {
  broken::ItemList list{function};
  va_list rest;
  va_start(rest, function);
  for (std::size_t i = 1; list.at(i - 1) != tarvik::NULL_; ++i) {
    list.at(i) = va_arg(rest, long);
    broken::received.insert(broken::pointer(list.at(i)));
  }
  va_end(rest);
  const auto request = [&list] { return std::apply(GENUINE(CDFlib), list); };
  const bool concerned = std::any_of(list.begin(), list.end(), broken::concerns);
  return concerned ? broken::answer(broken::fileOf(list), request, broken::outputOf(list))
                   : request();
}

CDFstatus CDFinquireAttr(CDFid id, long attribute, char* name, long* scope, long* maxgEntry,
                         long* maxrEntry, long* maxzEntry) {
  return broken::standIn(broken::inquireAttr, scope, GENUINE(CDFinquireAttr), id, attribute, name,
                         scope, maxgEntry, maxrEntry, maxzEntry);
}

CDFstatus CDFinquireAttrEntry(CDFid id, int kind, long attribute, long entry, long* datatype,
                              long* numElements) {
  return broken::standIn(broken::inquireAttrEntry, numElements, GENUINE(CDFinquireAttrEntry), id,
                         kind, attribute, entry, datatype, numElements);
}

CDFstatus CDFgetAttrEntry(CDFid id, int kind, long attribute, long entry, void* value) {
  return broken::standIn(broken::getAttrEntry, nullptr, GENUINE(CDFgetAttrEntry), id, kind,
                         attribute, entry, value);
}

CDFstatus CDFputAttrEntry(CDFid id, int kind, long attribute, long entry, long datatype,
                          long numElements, const void* value) {
  return broken::standIn(broken::putAttrEntry, nullptr, GENUINE(CDFputAttrEntry), id, kind,
                         attribute, entry, datatype, numElements, value);
}

CDFstatus CDFgetVarRecordData(CDFid id, int kind, long variable, long record, void* values) {
  return broken::standIn(broken::recordData, nullptr, GENUINE(CDFgetVarRecordData), id, kind,
                         variable, record, values);
}

CDFstatus CDFputVarRecordData(CDFid id, int kind, long variable, long record, const void* values) {
  return broken::standIn(broken::recordData, nullptr, GENUINE(CDFputVarRecordData), id, kind,
                         variable, record, values);
}

int CDFgetValidate() {
  return broken::concerns(broken::getValidate) ? static_cast<int>(*broken::laidDown->value)
                                               : GENUINE(CDFgetValidate)();
}

}  // extern "C"
