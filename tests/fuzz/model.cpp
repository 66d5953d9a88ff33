#include "tests/fuzz/model.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace {

/// Statuses that no careful sequence may bring about: an internal error, a file that is corrupted,
/// lost, or cannot be read or written.
constexpr long damage[] = {-2012, -2020, -2021, -2026, -2027, -2029, -2035, -2055,
                           -2056, -2066, -2068, -2074, -2075, -2077, -2092, -2102,
                           -2107, -2108, -2109, -2223, -2231, -2232};

std::string bytesOf(const vlArray* array) {
  std::string bytes;
  visitElements(array, [&](const auto* elements, std::size_t count) {
    bytes.assign(reinterpret_cast<const char*>(elements), count * sizeof(*elements));
  });
  return bytes;
}

/// The values that one of the six transfers moves, in the user's order of dimensions.
struct Slab {
  long recordStart, recordCount, recordInterval;
  std::vector<long> indices, counts, intervals;

  Slab(const Call& call, const VariableModel& variable)
      : recordStart(call.number("record").value_or(call.number("recordStart").value_or(0))),
        recordCount(call.number("recordCount").value_or(1)),
        recordInterval(call.number("recordInterval").value_or(1)),
        indices(call.list("indices")),
        counts(call.list("counts")),
        intervals(call.list("intervals")) {
    const std::size_t rank = variable.dimSizes.size();
    const bool isRecord = call.input("indices") == nullptr && call.name() != "getVarData";
    indices.resize(rank, 0);
    intervals.resize(rank, 1);
    counts.resize(rank, 1);
    if (isRecord) counts = variable.dimSizes;
  }

  std::size_t values() const { return product(counts); }

  static std::size_t product(const std::vector<long>& sizes) {
    std::size_t all = 1;
    for (const long size : sizes) all *= static_cast<std::size_t>(size);
    return all;
  }

  /// The place in a record of value `n` of the slab. The first dimension varies fastest.
  std::size_t place(std::size_t n, const std::vector<long>& dimSizes) const {
    std::size_t place = 0, stride = 1;
    for (std::size_t i = 0; i < counts.size(); ++i) {
      const auto count = static_cast<std::size_t>(counts[i]);
      place += stride *
               static_cast<std::size_t>(indices[i] + static_cast<long>(n % count) * intervals[i]);
      n /= count;
      stride *= static_cast<std::size_t>(dimSizes[i]);
    }
    return place;
  }
};

/// A part of a record is only kept where the whole record is known.
void put(const Slab& slab, const std::string& bytes, VariableModel& variable) {
  const std::size_t recordValues = Slab::product(variable.dimSizes), values = slab.values();
  const std::size_t valueBytes = bytes.size() / values / static_cast<std::size_t>(slab.recordCount);
  const bool isWhole = slab.counts == variable.dimSizes;
  std::size_t from = 0;
  for (long i = 0; i < slab.recordCount; ++i) {
    const long number = slab.recordStart + i * slab.recordInterval;
    const auto found = variable.records.find(number);
    if (found == variable.records.end() && !isWhole) {
      from += values * valueBytes;
      continue;
    }
    std::string& record = variable.records[number];
    record.resize(recordValues * valueBytes);
    for (std::size_t n = 0; n < values; ++n, from += valueBytes) {
      record.replace(slab.place(n, variable.dimSizes) * valueBytes, valueBytes, bytes, from,
                     valueBytes);
    }
  }
}

/// The bytes that a read must give; none if a record is not known.
std::optional<std::string> get(const Slab& slab, const VariableModel& variable) {
  std::string bytes;
  for (long i = 0; i < slab.recordCount; ++i) {
    const auto found = variable.records.find(slab.recordStart + i * slab.recordInterval);
    if (found == variable.records.end()) return std::nullopt;
    const std::string& record = found->second;
    const std::size_t valueBytes = record.size() / Slab::product(variable.dimSizes);
    for (std::size_t n = 0; n < slab.values(); ++n) {
      bytes.append(record, slab.place(n, variable.dimSizes) * valueBytes, valueBytes);
    }
  }
  return bytes;
}

bool allVary(const vlArray* variances) {
  bool all = true;
  visitElements(variances, [&](const auto* elements, std::size_t count) {
    all = std::all_of(elements, elements + count, [](auto element) { return element != 0; });
  });
  return all;
}

std::string asBytes(const std::string& text) {
  return bytesOf(vlhost::text(text).get());
}

/// Whether the handle is still valid after a delete that failed.
bool survivesDelete(long status) {
  return status == 0 || status == -2012 || status == -2070 || status == -2077 || status == -2086;
}

bool isRead(const std::string& name) {
  return name == "getVarData" || name == "getVarRecordData" || name == "hyperGetVarData";
}

bool isWrite(const std::string& name) {
  return name == "putVarData" || name == "putVarRecordData" || name == "hyperPutVarData";
}

bool fills(const std::string& name) {
  return isWrite(name) || name == "setVarInitialRecs" || name == "setVarAllocBlockRecords";
}

template <typename T>
T* at(std::vector<T>& all, std::optional<long> number) {
  const bool exists = number && *number >= 0 && *number < static_cast<long>(all.size());
  return exists ? &all[static_cast<std::size_t>(*number)] : nullptr;
}

}  // namespace

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
  if (file == nullptr || isNew) file = std::make_shared<FileModel>(FileModel{path, false, {}, {}});
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
  if (variable != nullptr && isRead(name)) return get(Slab(call, *variable), *variable);
  if (attribute != nullptr && name == "getAttrName") return asBytes(attribute->name);
  if (attribute != nullptr && (name == "getAttrEntry" || name == "getAttrgEntry")) {
    const auto entry = attribute->entries.find(call.number("entry").value_or(-1));
    if (entry != attribute->entries.end()) return entry->second;
  }
  return std::nullopt;
}

void Model::applyToVariable(const Call& call, VariableModel& variable) {
  const std::string& name = call.name();
  if (name == "renameVar") variable.name = call.text("name");
  if (name == "setVarCompression") variable.compressed = call.number("compression") != 0;
  if (name == "setVarSparseRecords") variable.sparse = call.number("sparseRecords") != 0;
  variable.written = variable.written || fills(name);
  if (!isWrite(name)) return;
  if (strict_ && variable.varies)
    put(Slab(call, variable), bytesOf(call.inputs.back().get()), variable);
}

void Model::applyToAttribute(const Call& call, AttributeModel& attribute) {
  const std::string& name = call.name();
  if (name == "renameAttr") attribute.name = call.text("name");
  const long entry = call.number("entry").value_or(-1);
  if (name == "putAttrEntry" || name == "putAttrgEntry") {
    attribute.entries[entry] = bytesOf(call.input("value"));
  }
  if (name == "deleteAttrEntry" || name == "deleteAttrgEntry") attribute.entries.erase(entry);
}

void Model::apply(const Call& call, FileModel& file) {
  const std::string& name = call.name();
  if (name == "setCompression") file.compressed = call.number("compression") != 0;
  if (name == "createVar") {
    file.variables.push_back(
        {call.text("name"),
         *call.number("datatype"),
         *call.number("numElements"),
         call.list("dimSizes"),
         allVary(call.input("recVariance")) && allVary(call.input("dimVariances")),
         false,
         false,
         false,
         {}});
  }
  if (name == "createAttr") {
    file.attributes.push_back({call.text("name"), *call.number("scope") % 2 == 1, {}});
  }
  if (VariableModel* variable = variableOf(call)) applyToVariable(call, *variable);
  if (AttributeModel* attribute = attributeOf(call)) applyToAttribute(call, *attribute);
  if (name == "deleteVar" && variableOf(call)) {
    file.variables.erase(file.variables.begin() + *call.number("variable"));
  }
  if (name == "deleteAttr" && attributeOf(call)) {
    file.attributes.erase(file.attributes.begin() + *call.number("attribute"));
  }
}

void Model::succeeded(const Call& call, const std::vector<Array>& outputs) {
  const std::string& name = call.name();
  if (name == "open" || name == "create") {
    begin(call.text("path"), name == "create", valuesOf<std::uint64_t>(outputs.at(0)).at(0));
  }
  if (call.input("file") == nullptr) return;
  FileModel* file = opened(call.handle());
  if (file == nullptr) throw std::logic_error("a call succeeded with no valid identifier");
  const std::optional<std::string> bytes = strict_ ? expected(call) : std::nullopt;
  if (bytes && bytesOf(outputs.at(0).get()) != *bytes) {
    throw std::logic_error("wrong values: " + shown(outputs.at(0)));
  }
  apply(call, *file);
  if (name == "delete") files_.erase(file->path);
  if (name == "delete" || name == "close") end(call.handle());
}

void Model::failed(const Call& call, long status) {
  const std::string& name = call.name();
  const bool damaged = std::find(std::begin(damage), std::end(damage), status) != std::end(damage);
  if (strict_ && (damaged || (name == "close" && status != 0))) {
    throw std::logic_error("status " + std::to_string(status));
  }
  VariableModel* variable = variableOf(call);
  if (variable != nullptr && status != 0 && fills(name)) variable->written = true;
  const bool ends = name == "close" ? status != 0 : name == "delete" && !survivesDelete(status);
  if (ends && opened(call.handle()) != nullptr) end(call.handle());
}
