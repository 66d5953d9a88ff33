#include "tests/fuzz/model.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <stdexcept>

namespace {

/// Statuses of a library whose disk or memory ran out in the middle of a change, as the limits of a
/// run bring about: what is in the file then is not known.
constexpr long outOfResources[] = {-2021, -2026, -2055, -2056, -2066,
                                   -2068, -2075, -2107, -2109, -2231};
/// Statuses that no request may bring about: an internal error, a file that is corrupted, lost, or
/// cannot be read.
constexpr long damage[] = {-2012, -2020, -2027, -2029, -2035, -2074,
                           -2077, -2092, -2102, -2108, -2223, -2232};

/// Records, elements and values of a file that no limit forbids.
constexpr long mostOfAnything = 60000;

template <typename List>
bool contains(const List& list, long status) {
  return std::find(std::begin(list), std::end(list), status) != std::end(list);
}

/// Numbers above one that is gone move down by one.
std::set<long> without(const std::set<long>& numbers, long gone) {
  std::set<long> left;
  for (const long number : numbers) {
    if (number != gone) left.insert(number > gone ? number - 1 : number);
  }
  return left;
}

std::string elementsOf(const vlArray* array) {
  const std::string all = shown(array);
  return all.substr(all.find(':'));
}

/// Logical true is the byte 1 alone.
void createVariable(const Call& call, FileModel& file) {
  const auto allVary = [&](const char* name) {
    const std::string elements = elementsOf(call.input(name));
    return elements.find(" 0") == std::string::npos && elements.find(" 255") == std::string::npos;
  };
  file.variables.push_back({*call.number("datatype"),
                            *call.number("numElements"),
                            call.list("dimSizes"),
                            allVary("recVariance") && allVary("dimVariances"),
                            {}});
}

void deleteVariable(FileModel& file, long number) {
  file.variables.erase(file.variables.begin() + number);
  for (AttributeModel& attribute : file.attributes) {
    if (!attribute.global) attribute.entries = without(attribute.entries, number);
  }
}

void forgetRecords(FileModel& file, std::optional<long> variable) {
  for (std::size_t i = 0; i < file.variables.size(); ++i) {
    if (!variable || *variable == static_cast<long>(i)) file.variables[i].records.clear();
  }
}

void putRecord(const Call& call, FileModel& file) {
  constexpr std::size_t mostElements = 512;
  VariableModel& variable = file.variables.at(static_cast<std::size_t>(*call.number("variable")));
  if (!variable.varies || vlGetNumberOfElements(call.input("values")) > mostElements) return;
  const std::string elements = elementsOf(call.input("values"));
  // A character that is not printable may be another one when it is read.
  if (elements.find('<') == std::string::npos) {
    variable.records[*call.number("record")] = elements;
  }
}

using Effect = std::function<void(const Call&, FileModel&)>;

AttributeModel& attributeOf(const Call& call, FileModel& file) {
  return file.attributes.at(static_cast<std::size_t>(*call.number("attribute")));
}

void putEntry(const Call& call, FileModel& file) {
  attributeOf(call, file).entries.insert(*call.number("entry"));
}

void deleteEntry(const Call& call, FileModel& file) {
  attributeOf(call, file).entries.erase(*call.number("entry"));
}

/// What operations do to the content of a file; the others leave it as it is.
const std::map<std::string, Effect>& effects() {
  static const std::map<std::string, Effect> all = {
      {"createVar", createVariable},
      {"deleteVar",
       [](const Call& call, FileModel& file) { deleteVariable(file, *call.number("variable")); }},
      {"createAttr",
       [](const Call& call, FileModel& file) {
         file.attributes.push_back({*call.number("scope") % 2 == 1, {}});
       }},
      {"deleteAttr",
       [](const Call& call, FileModel& file) {
         file.attributes.erase(file.attributes.begin() + *call.number("attribute"));
       }},
      {"putAttrEntry", putEntry},
      {"putAttrgEntry", putEntry},
      {"deleteAttrEntry", deleteEntry},
      {"deleteAttrgEntry", deleteEntry},
      {"putVarRecordData", putRecord},
      {"setMajority",
       [](const Call&, FileModel& file) {
         for (VariableModel& variable : file.variables) variable.varies = false;
       }},
  };
  return all;
}

/// The values that one record of each variable holds.
double valuesOfRecords(const FileModel& file) {
  double all = 0;
  for (const VariableModel& variable : file.variables) {
    auto values = static_cast<double>(variable.numElements);
    for (const long size : variable.dimSizes) values *= static_cast<double>(size);
    all += values;
  }
  return all;
}

/// The largest number of records or elements that a call is about.
double mostAsked(const Call& call) {
  long most = 0;
  for (const char* name : {"record", "recordStart", "last", "count", "factor", "numElements"}) {
    most = std::max(most, call.number(name).value_or(0));
  }
  const long start = call.number("recordStart").value_or(0);
  const auto steps = static_cast<double>(call.number("recordCount").value_or(0));
  const auto interval = static_cast<double>(call.number("recordInterval").value_or(0));
  return std::max(static_cast<double>(most), static_cast<double>(start) + steps * interval);
}

bool isTooMuch(double most, const FileModel& file) {
  return std::max(1.0, valuesOfRecords(file)) * most > mostOfAnything;
}

void strain(const Call& call, FileModel& file) {
  file.most = std::max(file.most, mostAsked(call));
  file.strained = file.strained || isTooMuch(file.most, file);
}

/// Operations that may change records which were written, even where they fail.
bool changesRecords(const std::string& operation) {
  return operation == "putVarData" || operation == "hyperPutVarData" ||
         operation == "putVarRecordData" || operation == "deleteVarRecords" ||
         operation == "setVarSparseRecords" || operation == "setVarInitialRecs";
}

}  // namespace

const vlArray* Call::input(const std::string& name) const {
  for (std::size_t i = 0; i < inputs.size() && i < operation->inputs.size(); ++i) {
    if (operation->inputs[i].name == name) return inputs[i].get();
  }
  return nullptr;
}

std::vector<long> Call::list(const std::string& name) const {
  const vlArray* array = input(name);
  if (array == nullptr || vlGetClassID(array) != vlDOUBLE_CLASS) return {};
  std::vector<long> numbers;
  const auto* elements = static_cast<const double*>(vlGetData(array));
  for (std::size_t i = 0; i < vlGetNumberOfElements(array); ++i) {
    if (!(std::abs(elements[i]) < 4294967296.0)) return {};
    numbers.push_back(static_cast<long>(elements[i]));
  }
  return numbers;
}

std::optional<long> Call::number(const std::string& name) const {
  const std::vector<long> numbers = list(name);
  return numbers.size() == 1 ? std::optional(numbers[0]) : std::nullopt;
}

std::string Call::text(const std::string& name) const {
  const vlArray* array = input(name);
  if (array == nullptr || vlGetClassID(array) != vlCHAR_CLASS) return {};
  const auto* units = static_cast<const vlChar*>(vlGetData(array));
  std::string result;
  std::transform(units, units + vlGetNumberOfElements(array), std::back_inserter(result),
                 [](vlChar unit) { return static_cast<char>(unit); });
  return result;
}

std::uint64_t Call::handle() const {
  const vlArray* array = input("file");
  const bool isHandle = array != nullptr && vlGetClassID(array) == vlUINT64_CLASS &&
                        vlGetNumberOfElements(array) == 1;
  return isHandle ? *static_cast<const std::uint64_t*>(vlGetData(array)) : 0;
}

std::string shown(const Call& call) {
  constexpr std::size_t most = 120;
  std::string line = call.operation->name;
  for (const Array& input : call.inputs) {
    const std::size_t count = vlGetNumberOfElements(input.get());
    const bool isCell = vlGetClassID(input.get()) == vlCELL_CLASS;
    // Large ones would take long to show.
    const std::string all = isCell || count > 1000 ? std::to_string(count) + " elements of class " +
                                                         vlGetClassName(input.get())
                                                   : shown(input.get());
    line += " | " + (all.size() > most ? all.substr(0, most) + "..." : all);
  }
  return line;
}

std::vector<Handle>::iterator Model::find(std::uint64_t handle) {
  return std::find_if(handles_.begin(), handles_.end(),
                      [&](const Handle& row) { return row.value == handle; });
}

FileModel* Model::opened(std::uint64_t handle) {
  const auto found = find(handle);
  return found == handles_.end() ? nullptr : found->file;
}

bool Model::isOpen(const FileModel& file) const {
  return std::any_of(handles_.begin(), handles_.end(),
                     [&](const Handle& handle) { return handle.file == &file; });
}

void Model::begin(const std::string& path, std::uint64_t handle) {
  FileModel& file = files_[path];
  file.path = path;
  if (isOpen(file)) file.lost = "it was opened twice at once";
  stale_.erase(std::remove(stale_.begin(), stale_.end(), handle), stale_.end());
  handles_.push_back({handle, &file});
}

void Model::end(std::uint64_t handle) {
  handles_.erase(find(handle));
  stale_.push_back(handle);
}

void Model::succeeded(const Call& call, const std::vector<Array>& outputs) {
  const std::string& operation = call.operation->name;
  if (operation == "open" || operation == "create") {
    begin(call.text("path"), valuesOf<std::uint64_t>(outputs.at(0)).at(0));
    return;
  }
  if (call.operation->inputs.empty() || call.operation->inputs[0].kind != "file") return;
  FileModel* file = opened(call.handle());
  if (file == nullptr) throw std::logic_error("a call succeeded with no valid identifier");
  if (operation == "close") end(call.handle());
  if (operation == "delete") {
    const std::string path = file->path;
    end(call.handle());
    if (isOpen(*file)) {
      file->lost = "it was deleted and is open still";
    } else {
      files_.erase(path);
    }
    return;
  }
  if (!file->lost.empty()) return;
  if (changesRecords(operation)) forgetRecords(*file, call.number("variable"));
  const auto effect = effects().find(operation);
  if (effect != effects().end()) effect->second(call, *file);
  strain(call, *file);
  if (operation == "setChecksum" && *call.number("checksum") == 2) {
    file->lost = "its checksum is of no known kind";
  }
}

bool Model::strains(const Call& call) {
  const FileModel* file = opened(call.handle());
  return (file != nullptr && isTooMuch(mostAsked(call), *file)) ||
         std::any_of(files_.begin(), files_.end(),
                     [](const auto& each) { return each.second.strained; });
}

void Model::refused(const Call& call, long status) {
  const std::string& operation = call.operation->name;
  FileModel* file = opened(call.handle());
  if (file == nullptr || status == 0) return;  // Refused by the gateway.
  if (file->lost.empty()) {
    strain(call, *file);
    if (changesRecords(operation)) forgetRecords(*file, call.number("variable"));
    const bool damaged = contains(damage, status);
    if (damaged && !file->strained) {
      throw std::logic_error("a file was lost: status " + std::to_string(status));
    }
    if (damaged || contains(outOfResources, status)) {
      file->lost = "status " + std::to_string(status);
    }
  }
  // What a delete of a file in use and a close fail with.
  const bool kept = status == -2012 || status == -2070 || status == -2077 || status == -2086;
  if (operation != "close" && (operation != "delete" || kept)) return;
  if (file->lost.empty()) {
    throw std::logic_error(operation + " failed for no reason: status " + std::to_string(status));
  }
  end(call.handle());
}
