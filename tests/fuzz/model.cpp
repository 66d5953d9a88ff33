#include "tests/fuzz/model.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "convert/datatypes.h"

namespace {

/// Statuses that no careful sequence may bring about: an internal error, a file that is corrupted,
/// lost, or cannot be read or written.
constexpr long damage[] = {-2012, -2020, -2021, -2026, -2027, -2029, -2035, -2055,
                           -2056, -2066, -2068, -2074, -2075, -2077, -2092, -2102,
                           -2107, -2108, -2109, -2223, -2231, -2232};

/// Logical true is the byte 1 alone; a double is -1.
bool allVary(const Array& variances) {
  bool all = true;
  visitElements(variances.get(), [&](const auto* elements, std::size_t count) {
    all = std::all_of(elements, elements + count,
                      [](auto element) { return std::abs(static_cast<double>(element)) == 1; });
  });
  return all;
}

std::string asBytes(const std::string& text) {
  return bytesOf(vlhost::text(text));
}

/// Whether the handle is still valid after a delete that failed.
bool survivesDelete(long status) {
  return status == 0 || status == -2012 || status == -2070 || status == -2077 || status == -2086;
}

bool isWrite(const std::string& name) {
  return name == "putVarData" || name == "putVarRecordData" || name == "hyperPutVarData";
}

bool startsWith(const std::string& name, const char* beginning) {
  return name.rfind(beginning, 0) == 0;
}

bool fills(const std::string& name) {
  return isWrite(name) || name == "setVarInitialRecs" || name == "setVarAllocBlockRecords";
}

std::optional<std::string> find(const std::map<long, std::string>& all,
                                std::optional<long> number) {
  const auto found = all.find(number.value_or(-1));
  return found == all.end() ? std::nullopt : std::optional(found->second);
}

template <typename T>
T* at(std::vector<T>& all, std::optional<long> number) {
  const bool exists = number && *number >= 0 && *number < static_cast<long>(all.size());
  return exists ? &all[static_cast<std::size_t>(*number)] : nullptr;
}

template <typename T>
void erase(std::vector<T>& all, std::optional<long> number) {
  if (at(all, number) != nullptr) all.erase(all.begin() + *number);
}

}  // namespace

std::string bytesOf(const Array& array) {
  std::string bytes;
  visitElements(array.get(), [&](const auto* elements, std::size_t count) {
    bytes.assign(reinterpret_cast<const char*>(elements), count * sizeof(*elements));
  });
  return bytes;
}

std::vector<long> recordsWritten(const Call& call) {
  std::vector<long> records;
  for (long i = 0; isWrite(call.name()) && i < call.number("recordCount").value_or(1); ++i) {
    records.push_back(call.number("record").value_or(call.number("recordStart").value_or(0)) +
                      i * call.number("recordInterval").value_or(1));
  }
  return records;
}

FileModel* Model::opened(std::uint64_t handle) const {
  const auto found = std::find_if(handles_.begin(), handles_.end(),
                                  [&](const Handle& row) { return row.value == handle; });
  return found == handles_.end() ? nullptr : found->file.get();
}

bool Model::isOpen(const std::string& path) const {
  return std::any_of(handles_.begin(), handles_.end(),
                     [&](const Handle& handle) { return handle.file->path == path; });
}

VariableModel* Model::variableOf(const Call& call) const {
  FileModel* file = opened(call.handle());
  return file == nullptr ? nullptr : at(file->variables, call.number("variable"));
}

AttributeModel* Model::attributeOf(const Call& call) const {
  FileModel* file = opened(call.handle());
  return file == nullptr ? nullptr : at(file->attributes, call.number("attribute"));
}

void Model::begin(const std::string& path, bool isNew, std::uint64_t handle) {
  std::shared_ptr<FileModel>& file = files_[path];
  if (file == nullptr || isNew) file = std::make_shared<FileModel>(FileModel{path, {}, {}});
  stale_.erase(std::remove(stale_.begin(), stale_.end(), handle), stale_.end());
  handles_.push_back({handle, file});
}

void Model::end(std::uint64_t handle) {
  handles_.erase(std::remove_if(handles_.begin(), handles_.end(),
                                [&](const Handle& row) { return row.value == handle; }),
                 handles_.end());
  stale_.push_back(handle);
}

std::optional<std::string> Model::expected(const Call& call) const {
  const VariableModel* variable = variableOf(call);
  const AttributeModel* attribute = attributeOf(call);
  const std::string& name = call.name();
  if (variable != nullptr && name == "getVarName") return asBytes(variable->name);
  if (variable != nullptr && name == "getVarRecordData") {
    return find(variable->records, call.number("record"));
  }
  if (attribute != nullptr && name == "getAttrName") return asBytes(attribute->name);
  if (attribute != nullptr && (name == "getAttrEntry" || name == "getAttrgEntry")) {
    return find(attribute->entries, call.number("entry"));
  }
  return std::nullopt;
}

void Model::applyToVariable(const Call& call, VariableModel& variable) {
  const std::string& name = call.name();
  if (name == "renameVar") variable.name = call.text("name");
  if (name == "setVarCompression") variable.compressed = call.number("compression") != 0;
  if (name == "setVarSparseRecords") variable.sparse = call.number("sparseRecords") != 0;
  if (fills(name)) variable.written = true;
  for (const long record : recordsWritten(call)) variable.records.erase(record);
}

void Model::applyToAttribute(const Call& call, AttributeModel& attribute) {
  const std::string& name = call.name();
  const long entry = call.number("entry").value_or(-1);
  if (name == "renameAttr") attribute.name = call.text("name");
  if (startsWith(name, "putAttr")) {
    std::string& bytes = attribute.entries[entry] = bytesOf(*call.input("value"));
    // Of an odd number of doubles, the last is not written.
    if (call.number("datatype") == tarvik::CDF_EPOCH16) bytes.resize(bytes.size() / 16 * 16);
  }
  if (startsWith(name, "deleteAttr")) attribute.entries.erase(entry);
}

void Model::apply(const Call& call, FileModel& file) {
  const std::string& name = call.name();
  if (name == "createVar") {
    VariableModel& variable = file.variables.emplace_back();
    variable.name = call.text("name");
    variable.datatype = *call.number("datatype");
    variable.numElements = *call.number("numElements");
    variable.dimSizes = call.list("dimSizes");
    variable.varies = allVary(*call.input("recVariance")) && allVary(*call.input("dimVariances"));
  }
  if (name == "createAttr") {
    file.attributes.push_back({call.text("name"), *call.number("scope") % 2 == 1, {}});
  }
  if (VariableModel* variable = variableOf(call)) applyToVariable(call, *variable);
  if (AttributeModel* attribute = attributeOf(call)) applyToAttribute(call, *attribute);
  if (name == "deleteVar") erase(file.variables, call.number("variable"));
  if (name == "deleteAttr") erase(file.attributes, call.number("attribute"));
}

void Model::succeeded(const Call& call, const std::vector<Array>& outputs) {
  const std::string& name = call.name();
  if (name == "open" || name == "create") {
    begin(call.text("path"), name == "create", valuesOf<std::uint64_t>(outputs.at(0)).at(0));
  }
  if (call.input("file") == nullptr) return;
  FileModel* file = opened(call.handle());
  if (file == nullptr) throw std::logic_error("a call succeeded with no valid identifier");
  const std::optional<std::string> bytes = careful_ ? expected(call) : std::nullopt;
  if (bytes && bytesOf(outputs.at(0)) != *bytes) {
    throw std::logic_error("wrong values: " + shown(outputs.at(0)));
  }
  apply(call, *file);
  if (name == "delete") files_.erase(file->path);
  if (name == "delete" || name == "close") end(call.handle());
}

void Model::failed(const Call& call, long status) {
  const std::string& name = call.name();
  const bool damaged = std::find(std::begin(damage), std::end(damage), status) != std::end(damage);
  if (careful_ && (damaged || (name == "close" && status != 0))) {
    throw std::logic_error("status " + std::to_string(status));
  }
  VariableModel* variable = variableOf(call);
  if (variable != nullptr && status != 0 && fills(name)) variable->written = true;
  const bool ends = name == "close" ? status != 0 : name == "delete" && !survivesDelete(status);
  if (ends && opened(call.handle()) != nullptr) end(call.handle());
}
