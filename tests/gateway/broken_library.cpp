#include "tests/gateway/broken_library.h"

#include <algorithm>
#include <cstdarg>
#include <dlfcn.h>
#include <tuple>

#include "cdf/functions.h"
#include "cdf/library.h"
#include "tests/gateway/recording.h"

namespace broken {

std::set<const void*> received;

namespace {

template <typename Argument>
void note([[maybe_unused]] Argument argument) {
  if constexpr (std::is_pointer_v<Argument>) received.insert(argument);
}

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

/// Records a call of a function and makes it.
template <typename Result, typename... Parameters, typename... Arguments>
Result recorded(const char* name, Result (*function)(Parameters...), Arguments... arguments) {
  (note(arguments), ...);
  const std::optional<long> refusal = Recording::note(name, arguments...);
  if constexpr (std::is_integral_v<Result>) {
    if (refusal) return static_cast<Result>(*refusal);
  }
  const Recording::Within within;
  return function(arguments...);
}

/// A request made by a function is one on a file, as if its list had the item.
template <typename Request>
CDFstatus standIn(CDFid file, Request request, long item = tarvik::CDF_, long* output = nullptr) {
  return concerns(item) || concerns(tarvik::CDF_) ? answer(file, request, output) : request();
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
#define RECORDED(function, ...) broken::recorded(#function, GENUINE(function), __VA_ARGS__)

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
  const auto request = [&list]() -> CDFstatus {
    const std::optional<long> refusal = broken::Recording::note(list);
    const broken::Recording::Within within;
    return refusal ? *refusal : std::apply(GENUINE(CDFlib), list);
  };
  const bool concerned = std::any_of(list.begin(), list.end(), broken::concerns);
  return concerned ? broken::answer(broken::fileOf(list), request, broken::outputOf(list))
                   : request();
}

CDFstatus CDFcreateCDF(const char* name, CDFid* id) {
  return RECORDED(CDFcreateCDF, name, id);
}

long CDFgetVarNum(CDFid id, const char* name) {
  return RECORDED(CDFgetVarNum, id, name);
}

long CDFgetAttrNum(CDFid id, const char* name) {
  return RECORDED(CDFgetAttrNum, id, name);
}

CDFstatus CDFinquireAttr(CDFid id, long attribute, char* name, long* scope, long* maxgEntry,
                         long* maxrEntry, long* maxzEntry) {
  const auto request = [&] {
    return RECORDED(CDFinquireAttr, id, attribute, name, scope, maxgEntry, maxrEntry, maxzEntry);
  };
  return broken::standIn(id, request, broken::inquireAttr, scope);
}

CDFstatus CDFinquireAttrEntry(CDFid id, int kind, long attribute, long entry, long* datatype,
                              long* numElements) {
  const auto request = [&] {
    return RECORDED(CDFinquireAttrEntry, id, kind, attribute, entry, datatype, numElements);
  };
  return broken::standIn(id, request, broken::inquireAttrEntry, numElements);
}

CDFstatus CDFgetAttrEntry(CDFid id, int kind, long attribute, long entry, void* value) {
  return broken::standIn(
      id, [&] { return RECORDED(CDFgetAttrEntry, id, kind, attribute, entry, value); });
}

CDFstatus CDFputAttrEntry(CDFid id, int kind, long attribute, long entry, long datatype,
                          long numElements, const void* value) {
  return broken::standIn(id, [&] {
    return RECORDED(CDFputAttrEntry, id, kind, attribute, entry, datatype, numElements, value);
  });
}

CDFstatus CDFdeleteAttrEntry(CDFid id, int kind, long attribute, long entry) {
  return RECORDED(CDFdeleteAttrEntry, id, kind, attribute, entry);
}

CDFstatus CDFgetNumAttrEntries(CDFid id, int kind, long attribute, long* count) {
  return RECORDED(CDFgetNumAttrEntries, id, kind, attribute, count);
}

CDFstatus CDFgetAttrMaxEntry(CDFid id, int kind, long attribute, long* entry) {
  return RECORDED(CDFgetAttrMaxEntry, id, kind, attribute, entry);
}

CDFstatus CDFgetVarRecordData(CDFid id, int kind, long variable, long record, void* values) {
  return broken::standIn(
      id, [&] { return RECORDED(CDFgetVarRecordData, id, kind, variable, record, values); });
}

CDFstatus CDFputVarRecordData(CDFid id, int kind, long variable, long record, const void* values) {
  return broken::standIn(
      id, [&] { return RECORDED(CDFputVarRecordData, id, kind, variable, record, values); });
}

void CDFsetValidate(long mode) {
  RECORDED(CDFsetValidate, mode);
}

int CDFgetValidate() {
  broken::Recording::note("CDFgetValidate");
  return broken::concerns(broken::getValidate) ? static_cast<int>(*broken::laidDown->value)
                                               : GENUINE(CDFgetValidate)();
}

double computeEPOCH(long year, long month, long day, long hour, long minute, long second,
                    long msec) {
  return RECORDED(computeEPOCH, year, month, day, hour, minute, second, msec);
}

double computeEPOCH16(long year, long month, long day, long hour, long minute, long second,
                      long msec, long usec, long nsec, long psec, double epoch[2]) {
  return RECORDED(computeEPOCH16, year, month, day, hour, minute, second, msec, usec, nsec, psec,
                  epoch);
}

void EPOCHbreakdown(double epoch, long* year, long* month, long* day, long* hour, long* minute,
                    long* second, long* msec) {
  RECORDED(EPOCHbreakdown, epoch, year, month, day, hour, minute, second, msec);
}

void EPOCH16breakdown(double epoch[2], long* year, long* month, long* day, long* hour, long* minute,
                      long* second, long* msec, long* usec, long* nsec, long* psec) {
  RECORDED(EPOCH16breakdown, epoch, year, month, day, hour, minute, second, msec, usec, nsec, psec);
}

}  // extern "C"
