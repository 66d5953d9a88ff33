#include "tests/fuzz/session.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>

#include "cdf/library.h"

namespace {

Array identifier(std::uint64_t handle) {
  return row<std::uint64_t>({handle});
}

Array scalar(std::size_t value) {
  return Array(vlCreateDoubleScalar(static_cast<double>(value)));
}

std::vector<Array> inputsOf(Array first) {
  std::vector<Array> inputs;
  inputs.push_back(std::move(first));
  return inputs;
}

template <typename... Arrays>
std::vector<Array> inputsOf(Array first, Arrays... rest) {
  std::vector<Array> inputs = inputsOf(std::move(first));
  (inputs.push_back(std::move(rest)), ...);
  return inputs;
}

/// The status in the message of a failure of the library, 0 in any other.
long statusOf(const std::string& message) {
  const std::string before = "CDF library failure, \"", behind = "\".";
  if (message.rfind(before, 0) != 0) return 0;
  const std::string text =
      message.substr(before.size(), message.size() - before.size() - behind.size());
  const auto found = statusesByText().find(text);
  return found == statusesByText().end() ? 0 : found->second;
}

}  // namespace

const std::map<std::string, long>& statusesByText() {
  static const std::map<std::string, long> all = [] {
    std::map<std::string, long> texts;
    for (long status = -1; status > -static_cast<long>(Progress::mostStatuses); --status) {
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

Call Session::callOf(const std::string& name, std::vector<Array> inputs) const {
  return {&operation(name), std::move(inputs)};
}

/// Calls that fill files are made more often than others, so that there is something to lose.
const Operation& Session::chooseOperation() {
  if (model_.handles().empty() && !choices_.oneIn(4)) {
    return operation(choices_.from({"create", "open"}));
  }
  if (choices_.oneIn(3)) {
    return operation(choices_.from({"createVar", "createAttr", "putVarRecordData",
                                    "putVarRecordData", "hyperPutVarData", "putVarData",
                                    "putAttrEntry", "setFormat", "setVarCompression"}));
  }
  const Operation& chosen = choices_.from(catalogue_);
  const bool ends = chosen.name.rfind("delete", 0) == 0;
  return ends && !choices_.oneIn(3) ? choices_.from(catalogue_) : chosen;
}

void Session::failed(const Call& call, const vlhost::Error& error) {
  expect(error.identifier().rfind("VORLAN:", 0) == 0, "an identifier: " + error.identifier());
  expect(error.identifier() != "VORLAN:pluginException", std::string("threw: ") + error.what());
  const long status = statusOf(error.what());
  if (error.identifier() == "VORLAN:outOfMemory") {
    ++progress_.outOfMemory;
  } else if (status == 0) {
    ++progress_.refusedByGateway;
  } else {
    ++progress_.statuses.at(static_cast<std::size_t>(-status));
  }
  ++progress_.refused.at(static_cast<std::size_t>(call.operation - catalogue_.data()));
  if (words_ == Words::ofAll) std::printf("    %s\n", error.what());
  model_.refused(call, status);
}

void Session::tell(const Call& call) {
  if (words_ == Words::none) return;
  std::snprintf(progress_.current.data(), progress_.current.size(), "%s", shown(call).c_str());
  if (words_ != Words::ofAll) return;
  std::printf("%5lu %s\n", static_cast<unsigned long>(progress_.sequenceCalls),
              progress_.current.data());
  std::fflush(stdout);
}

std::vector<Array> Session::make(const Call& call) {
  ++progress_.calls;
  ++progress_.sequenceCalls;
  progress_.strained = model_.strains(call);
  tell(call);
  const Array name = vlhost::text(call.operation->name);
  std::vector<const vlArray*> inputs = {name.get()};
  for (const Array& input : call.inputs) inputs.push_back(input.get());

  const vlhost::Holdings before = vlhost::holdings();
  std::vector<Array> outputs;
  try {
    outputs = gateway_.call(inputs, 8).outputs;
    ++progress_.succeeded.at(static_cast<std::size_t>(call.operation - catalogue_.data()));
    expect(vlhost::holdings().blocks == before.blocks, "a block was left");
    if (words_ == Words::ofAll && !outputs.empty()) {
      std::printf("    => %s\n", shown(outputs[0]).substr(0, 100).c_str());
    }
    model_.succeeded(call, outputs);
  } catch (const vlhost::Error& error) {
    const vlhost::Holdings after = vlhost::holdings();
    expect(after.arrays == before.arrays && after.blocks == before.blocks,
           "a failed call left arrays or blocks");
    failed(call, error);
  }
  return outputs;
}

/// A number that a call must give.
double Session::ask(const std::string& name, std::vector<Array> inputs, std::size_t output) {
  const std::vector<Array> outputs = make(callOf(name, std::move(inputs)));
  expect(outputs.size() > output, name + " failed");
  return *static_cast<const double*>(vlGetData(outputs[output].get()));
}

void Session::verifyAttributes(const FileModel& file, std::uint64_t handle) {
  for (std::size_t i = 0; i < file.attributes.size(); ++i) {
    const bool global = file.attributes[i].global;
    const double entries = ask(global ? "getNumAttrgEntries" : "getNumAttrEntries",
                               inputsOf(identifier(handle), scalar(i)));
    expect(entries == static_cast<double>(file.attributes[i].entries.size()),
           "entries of attribute " + std::to_string(i) + ": " + std::to_string(entries));
  }
}

void Session::verifyVariables(const FileModel& file, std::uint64_t handle) {
  for (std::size_t i = 0; i < file.variables.size(); ++i) {
    const auto& [datatype, numElements, dimSizes, varies, records] = file.variables[i];
    const double elements = ask("inquireVar", inputsOf(identifier(handle), scalar(i)), 2);
    expect(elements == static_cast<double>(numElements), "numElements of " + std::to_string(i));
    for (const auto& [record, values] : records) {
      const std::vector<Array> read =
          make(callOf("getVarRecordData", inputsOf(identifier(handle), scalar(i),
                                                   scalar(static_cast<std::size_t>(record)))));
      const std::string what = "record " + std::to_string(record) + " of " + std::to_string(i);
      expect(!read.empty(), what + " cannot be read");
      const std::string all = shown(read[0]);
      expect(all.substr(all.find(':')) == values, std::string(what).append(" is now ").append(all));
      ++progress_.recordsVerified;
    }
  }
}

/// Looks at a file that was just opened.
void Session::verify(std::uint64_t handle) {
  const FileModel& file = *model_.opened(handle);
  if (!file.lost.empty()) return;
  const double variables = ask("inquire", inputsOf(identifier(handle)), 3);
  const double attributes = ask("inquire", inputsOf(identifier(handle)), 4);
  expect(variables == static_cast<double>(file.variables.size()),
         "number of variables: " + std::to_string(variables));
  expect(attributes == static_cast<double>(file.attributes.size()),
         "number of attributes: " + std::to_string(attributes));
  verifyAttributes(file, handle);
  verifyVariables(file, handle);
  ++progress_.filesVerified;
}

/// Closes all files, opens each again and looks at it.
void Session::finish() {
  while (!model_.handles().empty()) {
    const Handle handle = model_.handles().back();
    make(callOf("close", inputsOf(identifier(handle.value))));
    if (model_.opened(handle.value) == nullptr) continue;
    throw Fault("a file cannot be closed");
  }
  for (auto& [path, file] : model_.files()) {
    if (!file.lost.empty()) {
      ++progress_.filesLost;
      continue;
    }
    const std::vector<Array> opened = make(callOf("open", inputsOf(vlhost::text(path))));
    expect(!opened.empty(), path + " cannot be opened again");
    const std::uint64_t handle = valuesOf<std::uint64_t>(opened[0]).at(0);
    verify(handle);
    make(callOf("close", inputsOf(identifier(handle))));
  }
}

void Session::run(std::uint64_t calls) {
  progress_.sequenceCalls = 0;
  const vlhost::Holdings before = vlhost::holdings();
  make(callOf("setValidate", inputsOf(Array(vlCreateDoubleScalar(-1)))));
  while (progress_.sequenceCalls < calls && !choices_.exhausted()) {
    const Call call = arguments_.callOf(chooseOperation());
    const std::vector<Array> outputs = make(call);
    if (call.operation->name == "open" && !outputs.empty()) {
      verify(valuesOf<std::uint64_t>(outputs[0]).at(0));
    }
  }
  finish();
  const vlhost::Holdings after = vlhost::holdings();
  expect(after.arrays == before.arrays && after.blocks == before.blocks,
         "arrays or blocks are left");
}
