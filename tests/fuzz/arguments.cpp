#include "tests/fuzz/arguments.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <limits>

#include "tests/gateway/datatypes.h"

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();

constexpr double extremes[] = {-2147483648.0, -2147483649.0, 2147483647, 2147483648,
                               4294967295,    4294967296,    4294967297, 1099511627776.0,
                               1e300,         infinity,      -infinity};
/// For reads alone: the library writes so many records for minutes.
constexpr double immense[] = {2147483646, 1073741824, 536870912, 16777216};
constexpr double odd[] = {
    -2, -1,  -0.5, 0,    0.5,   1,   2,
    13, 255, 256,  1000, 65536, 4.9, std::numeric_limits<double>::quiet_NaN()};

/// Around the lengths that the library knows: names, copyrights, paths.
constexpr std::size_t textLengths[] = {0,   1,   2,   255, 256, 257, 300,
                                       508, 509, 510, 511, 512, 513, 5000};

/// Constants by their kind in the catalogue; the last of some is one that the library refuses.
const std::map<std::string, std::vector<double>> constants = {{"Compression", {0, 1, 2, 3, 5, 4}},
                                                              {"Checksum", {0, 1, 1, 1, 1, 2}},
                                                              {"SparseRecords", {0, 1, 2, 3}},
                                                              {"Majority", {1, 2}},
                                                              {"Format", {1, 1, 2}},
                                                              {"Scope", {1, 2, 3, 4}},
                                                              {"ReadOnlyMode", {0, 0, 0, -1}},
                                                              {"ValidationMode", {-1, 0}}};

const DatatypeRow* rowOf(double datatype) {
  const auto* row = std::find_if(std::begin(datatypes), std::end(datatypes),
                                 [&](const DatatypeRow& r) { return r.code == datatype; });
  return row == std::end(datatypes) ? nullptr : row;
}

}  // namespace

Call Arguments::callOf(const Operation& operation) {
  operation_ = &operation;
  file_ = nullptr;
  variable_ = nullptr;
  attribute_ = nullptr;
  datatype_ = choices_.from(datatypes).code;
  numElements_ = 1;
  recordCount_ = 1;
  numDims_ = choices_.below(4);
  // Most calls are good ones, some have one input that is not, and a few have many.
  const std::size_t mood = choices_.below(12);
  const bool rough = mood == 0;
  const std::size_t wrong = mood < 4 ? choices_.below(operation.inputs.size()) : ~std::size_t{0};
  Call call{&operation, {}};
  for (const Parameter& parameter : operation.inputs) {
    if (parameter.optional && choices_.oneIn(2)) continue;
    const bool isWild = call.inputs.size() == wrong || (rough && choices_.oneIn(3));
    call.inputs.push_back(isWild ? wild(parameter) : fitting(parameter));
  }
  if (rough && choices_.oneIn(8)) call.inputs.push_back(oneOf(vlDOUBLE_CLASS));
  if (rough && choices_.oneIn(8) && !call.inputs.empty()) call.inputs.pop_back();
  return call;
}

Array Arguments::fitting(const Parameter& parameter) {
  const std::string& kind = parameter.kind;
  if (kind == "file") return identifier();
  if (kind == "path") return vlhost::text("f" + std::to_string(choices_.below(5)));
  if (kind == "text") return name(operation_->name);
  if (kind == "constant") return vlhost::text("CDF_INT4");
  if (kind == "number") return number(parameter.name);
  if (kind == "list") return list(parameter.name);
  if (kind == "variance") return variances(1);
  if (kind == "variances") return variances(numDims_);
  if (kind == "values") return values();
  if (kind == "Datatype") return Array(vlCreateDoubleScalar(datatype_));
  const auto found = constants.find(kind);
  if (found != constants.end()) return Array(vlCreateDoubleScalar(choices_.from(found->second)));
  return components(kind);
}

Array Arguments::identifier() {
  if (model_.handles().empty()) return wildIdentifier();
  const Handle& handle = choices_.from(model_.handles());
  file_ = handle.file.get();
  return row<std::uint64_t>({handle.value});
}

Array Arguments::name(const std::string& operation) {
  const bool ofAttribute = operation.find("Attr") != std::string::npos;
  return vlhost::text((ofAttribute ? "a" : "v") + std::to_string(choices_.below(16)));
}

/// An attribute of the file, in most calls one whose entries are of the operation's kind and that
/// has some.
std::size_t Arguments::attributeNumber() {
  const std::vector<AttributeModel>& all = file_->attributes;
  const bool global = operation_->name.find("Attrg") != std::string::npos;
  const bool puts = operation_->name.rfind("put", 0) == 0;
  const std::size_t first = choices_.below(all.size());
  for (std::size_t n = 0; n < all.size() && !choices_.oneIn(8); ++n) {
    const std::size_t i = (first + n) % all.size();
    if (all[i].global == global && (puts || !all[i].entries.empty())) return i;
  }
  return first;
}

Array Arguments::number(const std::string& name) {
  const auto scalar = [](std::size_t value) {
    return Array(vlCreateDoubleScalar(static_cast<double>(value)));
  };
  if (name == "variable" && file_ != nullptr) {
    const std::size_t i = choices_.below(file_->variables.size());
    if (i < file_->variables.size()) variable_ = &file_->variables[i];
    return scalar(i);
  }
  if (name == "attribute" && file_ != nullptr) {
    const std::size_t i = attributeNumber();
    if (i < file_->attributes.size()) attribute_ = &file_->attributes[i];
    return scalar(i);
  }
  if (name == "entry" && attribute_ != nullptr && !attribute_->entries.empty() &&
      operation_->name.rfind("put", 0) != 0 && !choices_.oneIn(4)) {
    return scalar(static_cast<std::size_t>(choices_.from(attribute_->entries).first));
  }
  if (name == "entry" && attribute_ != nullptr && !attribute_->global) {
    return scalar(choices_.below(file_->variables.size()));
  }
  if (name == "numElements") {
    const DatatypeRow* type = rowOf(datatype_);
    numElements_ = type != nullptr && type->classId == vlCHAR_CLASS ? upTo(6) : 1;
    return scalar(numElements_);
  }
  if (name == "recordCount") return scalar(recordCount_ = upTo(4));
  if (name == "recordInterval") return scalar(upTo(3));
  if (name == "parameter") return scalar(upTo(9));
  if (name == "last") return scalar(choices_.below(40));
  return scalar(choices_.below(12));
}

Array Arguments::list(const std::string& name) {
  std::vector<double> numbers;
  if (name == "dimSizes") {
    for (std::size_t i = 0; i < numDims_; ++i) numbers.push_back(static_cast<double>(upTo(4)));
    return row(numbers);
  }
  if (variable_ != nullptr) {
    for (std::size_t i = 0; i < variable_->dimSizes.size(); ++i) {
      const auto size = static_cast<std::size_t>(variable_->dimSizes[i]);
      const std::size_t left = name == "counts" && indices_.size() > i
                                   ? size - static_cast<std::size_t>(indices_[i])
                                   : size;
      if (name == "indices") numbers.push_back(static_cast<double>(choices_.below(size)));
      if (name == "counts") numbers.push_back(static_cast<double>(upTo(left)));
      if (name == "intervals") numbers.push_back(choices_.oneIn(4) ? 2 : 1);
    }
  }
  if (name == "indices") indices_ = numbers;
  if (name == "counts") counts_ = numbers;
  return row(numbers);
}

Array Arguments::variances(std::size_t count) {
  const bool asLogicals = choices_.oneIn(2);
  Array array = newArray(asLogicals ? vlLOGICAL_CLASS : vlDOUBLE_CLASS, {1, count});
  for (std::size_t i = 0; i < count; ++i) {
    const bool varies = !choices_.oneIn(8);
    if (asLogicals) {
      vlGetLogicals(array.get())[i] = varies ? 1 : 0;
    } else {
      static_cast<double*>(vlGetData(array.get()))[i] = varies ? -1 : 0;
    }
  }
  return array;
}

std::size_t Arguments::elementsExpected() const {
  const std::string& operation = operation_->name;
  if (variable_ == nullptr) return 3;
  double count = static_cast<double>(variable_->numElements);
  if (operation == "putVarRecordData") {
    for (const long size : variable_->dimSizes) count *= static_cast<double>(size);
  }
  if (operation == "hyperPutVarData") {
    for (const double size : counts_) count *= size;
    count *= static_cast<double>(recordCount_);
  }
  return count < 100000 ? static_cast<std::size_t>(count) : 1;
}

Array Arguments::values() {
  const DatatypeRow* type =
      rowOf(variable_ != nullptr ? static_cast<double>(variable_->datatype) : datatype_);
  if (type == nullptr) return oneOf(vlDOUBLE_CLASS);
  Array array = newArray(type->classId, {1, elementsExpected() * type->hostCount});
  const std::size_t first = choices_.below(50);
  visitElements(array.get(), [&](auto* elements, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      elements[i] = static_cast<std::remove_pointer_t<decltype(elements)>>('A' + (first + i) % 50);
    }
  });
  return array;
}

Array Arguments::components(const std::string& kind) {
  static const std::map<std::string, std::vector<double>> samples = {
      {"components", {2020, 1, 31, 12, 30, 15, 250}},
      {"components16", {2020, 1, 31, 12, 30, 15, 250, 1, 2, 3}},
      {"components9", {2016, 12, 31, 23, 59, 60, 0, 0, 1}},
      {"epochs", {63747693015250.0}},
      {"epochs16", {63747693015.0, 250001002003.0}}};
  const auto found = samples.find(kind);
  if (found == samples.end()) return row<std::int64_t>({536500868184000001});
  std::vector<double> numbers = found->second;
  if (choices_.oneIn(2)) numbers.at(choices_.below(numbers.size())) = extreme();
  return row(numbers);
}

double Arguments::extreme() {
  const std::string& name = operation_->name;
  const bool reads = name.rfind("get", 0) == 0 || name.rfind("hyperGet", 0) == 0;
  if (reads && choices_.oneIn(8)) return choices_.from(immense);
  return choices_.oneIn(3) ? choices_.from(extremes) : choices_.from(odd);
}

Array Arguments::wild(const Parameter& parameter) {
  if (parameter.kind == "file" && model_.strict()) return wildIdentifier();
  // The gateway takes no array of the last kinds for a number or text that the library accepts.
  if (!model_.strict() && !choices_.oneIn(4)) {
    if (parameter.kind == "file") return wildIdentifier();
    if (parameter.kind == "text" || parameter.kind == "path") {
      return wildText(parameter.kind == "path");
    }
    if (choices_.oneIn(4)) {
      return row(
          std::vector<double>(choices_.from({0UL, 1UL, 2UL, 3UL, 10UL, 11UL, 40UL}), extreme()));
    }
    if (parameter.kind != "values") return Array(vlCreateDoubleScalar(extreme()));
  }
  const Dims dims[] = {{0, 0}, {1, 1}, {1, 2}, {2, 3}, {0, 5}, {1, 7}, {1, 10}};
  const vlClassID classId = choices_.from(allClasses);
  return (classId == vlCELL_CLASS ? newArray : patterned)(classId, choices_.from(dims));
}

Array Arguments::wildIdentifier() {
  std::uint64_t value = choices_.from({0ULL, 1ULL, 8ULL, ~0ULL, 1ULL << 32, 0x7fff00000000ULL});
  if (!model_.handles().empty() && choices_.oneIn(2)) {
    value =
        choices_.from(model_.handles()).value + choices_.from({1ULL, 8ULL, 16ULL, -16ULL, 664ULL});
  }
  if (!model_.stale().empty() && !choices_.oneIn(3)) value = choices_.from(model_.stale());
  return row(std::vector<std::uint64_t>(choices_.from({1UL, 1UL, 1UL, 1UL, 0UL, 2UL}), value));
}

Array Arguments::wildText(bool isPath) {
  const std::size_t length = choices_.from(textLengths);
  std::u16string text(length, choices_.from(u"nX \u00e9\uff80\t*"));
  if (length > 0 && choices_.oneIn(4)) text[choices_.below(length)] = u'\0';
  // No name in a folder is longer than 255; a few folders deep the lengths of paths are free.
  for (std::size_t i = 200; isPath && i < length && text[0] == u'n'; i += 201) text[i] = u'/';
  if (isPath && text.find(u'/') != text.npos) {
    std::filesystem::create_directories(std::string(200, 'n') + "/" + std::string(200, 'n'));
  }
  return chars({1, length}, text);
}
