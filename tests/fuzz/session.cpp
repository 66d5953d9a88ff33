#include "tests/fuzz/session.h"

#include <algorithm>

#include "cdf/library.h"
#include "tests/fuzz/bounds.h"

namespace {

Array identifier(std::uint64_t handle) {
  return row<std::uint64_t>({handle});
}

Array scalar(long value) {
  return Array(vlCreateDoubleScalar(static_cast<double>(value)));
}

/// The status in the message of a failure of the library, 0 in any other. Raises Fault for a text
/// that no status has.
long statusOf(const std::string& message) {
  const std::string before = "CDF library failure, \"", behind = "\".";
  if (message.rfind(before, 0) != 0) return 0;
  const auto found = statusesByText().find(
      message.substr(before.size(), message.size() - before.size() - behind.size()));
  if (found == statusesByText().end()) throw Fault("a status of no known text: " + message);
  return found->second;
}

}  // namespace

const std::map<std::string, long>& statusesByText() {
  static const std::map<std::string, long> all = [] {
    std::map<std::string, long> texts;
    for (long status = -1; status > -2400; --status) {
      tarvik::StatusTextBuffer text{};
      tarvik::cdf::call(tarvik::SELECT_, tarvik::CDF_STATUS_, status, tarvik::GET_,
                        tarvik::STATUS_TEXT_, text.data());
      texts.emplace(text.data(), status);
    }
    return texts;
  }();
  return all;
}

void Session::expect(bool condition, const std::string& what) const {
  if (!condition) throw Fault(what);
}

const Operation& Session::operation(const std::string& name) const {
  return *std::find_if(catalogue_.begin(), catalogue_.end(),
                       [&](const Operation& row) { return row.name == name; });
}

/// Calls that fill files are made more often than others, so that there is something to lose.
const Operation& Session::chooseOperation() {
  if (model_.handles().empty() && !choices_.oneIn(4)) {
    return operation(choices_.from({"create", "open"}));
  }
  if (choices_.oneIn(model_.careful() ? 2 : 3)) {
    return operation(choices_.from({"createVar", "createAttr", "putVarRecordData",
                                    "putVarRecordData", "hyperPutVarData", "putVarData",
                                    "putAttrEntry", "setFormat", "setVarCompression"}));
  }
  const Operation& chosen = choices_.from(catalogue_);
  const bool ends = chosen.name.rfind("delete", 0) == 0;
  return ends && !choices_.oneIn(3) ? choices_.from(catalogue_) : chosen;
}

void Session::failed(const Call& call, const vlhost::Error& error) {
  ++progress_.refused;
  if (trace_ != nullptr) std::fprintf(trace_, "    %s\n", error.what());
  expect(error.identifier().rfind("VORLAN:", 0) == 0, "an identifier: " + error.identifier());
  expect(error.identifier() != "VORLAN:pluginException", std::string("threw: ") + error.what());
  model_.failed(call, statusOf(error.what()));
}

std::optional<std::vector<Array>> Session::make(const Call& call) {
  ++progress_.calls;
  ++progress_.sequenceCalls;
  if (trace_ != nullptr) {
    std::snprintf(progress_.current.data(), progress_.current.size(), "%s", shown(call).c_str());
    std::fprintf(trace_, "%5d %s\n", static_cast<int>(progress_.sequenceCalls),
                 progress_.current.data());
    std::fflush(trace_);
  }
  const Array name = vlhost::text(call.name());
  std::vector<const vlArray*> inputs = {name.get()};
  for (const Array& input : call.inputs) inputs.push_back(input.get());

  const vlhost::Holdings before = vlhost::holdings();
  try {
    std::vector<Array> outputs = gateway_.call(inputs, 8).outputs;
    ++progress_.succeeded.at(static_cast<std::size_t>(call.operation - catalogue_.data()));
    expect(vlhost::holdings().blocks == before.blocks, "a block was left");
    model_.succeeded(call, outputs);
    return outputs;
  } catch (const vlhost::Error& error) {
    const vlhost::Holdings after = vlhost::holdings();
    expect(after.arrays == before.arrays && after.blocks == before.blocks,
           "a failed call left arrays or blocks");
    failed(call, error);
    return std::nullopt;
  }
}

/// Reads the values of a write that succeeded, and what its records hold now.
void Session::readBack(Call call) {
  static const std::map<std::string, std::string> reads = {{"putVarData", "getVarData"},
                                                           {"putVarRecordData", "getVarRecordData"},
                                                           {"hyperPutVarData", "hyperGetVarData"}};
  VariableModel& variable = *model_.variableOf(call);
  if (!variable.varies) return;
  const std::vector<long> records = recordsWritten(call);
  const std::string values = bytesOf(call.inputs.back());
  call.operation = &operation(reads.at(call.name()));
  call.inputs.pop_back();
  const std::optional<std::vector<Array>> read = make(call);
  expect(read && bytesOf(read->at(0)) == values, shown(call) + " gives other values");
  for (const long record : records) {
    variable.records[record] = bytesOf(ask("getVarRecordData", identifier(call.handle()),
                                           scalar(*call.number("variable")), scalar(record)));
  }
}

/// Looks at a file that was just opened. The model compares what each call gives.
void Session::verify(std::uint64_t handle) {
  const FileModel& file = *model_.opened(handle);
  long number = 0;
  for (const auto& [name, global, entries] : file.attributes) {
    const std::string kind = global ? "Attrg" : "Attr";
    ask("getAttrName", identifier(handle), scalar(number));
    const Array count = ask("getNum" + kind + "Entries", identifier(handle), scalar(number));
    expect(numberOf(count) == static_cast<double>(entries.size()), "entries of " + name);
    for (const auto& entry : entries) {
      ask("get" + kind + "Entry", identifier(handle), scalar(number), scalar(entry.first));
    }
    ++number;
  }
  number = 0;
  for (const VariableModel& variable : file.variables) {
    ask("getVarName", identifier(handle), scalar(number));
    for (const auto& record : variable.records) {
      ask("getVarRecordData", identifier(handle), scalar(number), scalar(record.first));
      ++progress_.recordsVerified;
    }
    ++number;
  }
  ++progress_.filesVerified;
}

/// Closes all files; after a careful sequence, opens each again and looks at it.
void Session::finish() {
  while (!model_.handles().empty()) {
    const std::uint64_t handle = model_.handles().back().value;
    make("close", identifier(handle));
    expect(model_.opened(handle) == nullptr, "a file cannot be closed");
  }
  if (!model_.careful()) return;
  for (const auto& file : model_.files()) {
    const Array opened = ask("open", vlhost::text(file.first));
    const std::uint64_t handle = valuesOf<std::uint64_t>(opened).at(0);
    verify(handle);
    make("close", identifier(handle));
  }
}

void Session::run(std::uint64_t calls) {
  progress_.sequenceCalls = 0;
  const vlhost::Holdings before = vlhost::holdings();
  make("setValidate", scalar(-1));  // The switch is one for the process.
  while (progress_.sequenceCalls < calls && !choices_.exhausted()) {
    Call call = arguments_.callOf(chooseOperation());
    if (meetsKnownCrash(call, model_)) continue;
    if (model_.careful() && !isCareful(call, model_)) continue;
    const std::optional<std::vector<Array>> outputs = make(call);
    if (!model_.careful() || !outputs) continue;
    if (call.name() == "open") verify(valuesOf<std::uint64_t>(outputs->at(0)).at(0));
    if (!recordsWritten(call).empty() && choices_.oneIn(2)) readBack(std::move(call));
  }
  finish();
  const vlhost::Holdings after = vlhost::holdings();
  expect(after.arrays == before.arrays && after.blocks == before.blocks,
         "arrays or blocks are left");
}
