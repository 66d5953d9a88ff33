#include "tests/fuzz/arguments.h"

#include <algorithm>
#include <filesystem>
#include <limits>

#include "tests/gateway/datatypes.h"

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double extremes[] = {-2147483648.0, -2147483649.0, 2147483647, 2147483648,
                               4294967295,    4294967296,    4294967297, 1099511627776.0,
                               1e300,         infinity,      -infinity};
constexpr double odd[] = {
    -2, -1,  -0.5, 0,    0.5,   1,   2,
    13, 255, 256,  1000, 65536, 4.9, std::numeric_limits<double>::quiet_NaN()};
/// Numbers of single records to read. So many records, the library reads and writes for minutes.
constexpr double immense[] = {2147483646, 1073741824, 536870912, 16777216};

/// Around the lengths that the library knows: names, copyrights, paths.
constexpr std::size_t textLengths[] = {0,   1,   2,   255, 256, 257, 300,
                                       508, 509, 510, 511, 512, 513, 5000};

/// Samples by their kind in the catalogue. The library refuses the last of some constants.
const std::map<std::string, std::vector<double>> constants = {{"Compression", {0, 1, 2, 3, 5, 4}},
                                                              {"Checksum", {0, 1, 1, 1, 1, 2}},
                                                              {"SparseRecords", {0, 1, 2, 3}},
                                                              {"Majority", {1, 2}},
                                                              {"Format", {1, 1, 2}},
                                                              {"Scope", {1, 2, 3, 4}},
                                                              {"ReadOnlyMode", {0, 0, 0, -1}},
                                                              {"ValidationMode", {-1, 0}}};
/// Numbers of one time, by the kind of input.
const std::map<std::string, std::size_t> times = {
    {"components", 7}, {"components9", 9}, {"components16", 10}, {"epochs", 1}, {"epochs16", 2}};

Array scalar(double value) {
  return Array(vlCreateDoubleScalar(value));
}

const DatatypeRow* rowOf(double datatype) {
  const auto* row = std::find_if(std::begin(datatypes), std::end(datatypes),
                                 [&](const DatatypeRow& r) { return r.code == datatype; });
  return row == std::end(datatypes) ? nullptr : row;
}

}  // namespace

Call Arguments::callOf(const Operation& operation) {
  operation_ = &operation;
  subject_ = {};
  subject_.datatype = choices_.from(datatypes).code;
  subject_.numDims = choices_.below(4);
  // Most calls are good ones, some have one input that is not, and a few have many.
  const std::size_t mood = choices_.below(model_.careful() ? 48 : 12);
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
  if (kind == "text") {
    return vlhost::text((is("Attr") ? "a" : "v") + std::to_string(choices_.below(16)));
  }
  if (kind == "constant") return vlhost::text("CDF_INT4");
  if (kind == "number") return scalar(static_cast<double>(number(parameter.name)));
  if (kind == "list") return list(parameter.name);
  if (kind == "variance") return variances(1);
  if (kind == "variances") return variances(subject_.numDims);
  if (kind == "values") return values();
  if (kind == "Datatype") return scalar(subject_.datatype);
  const auto found = constants.find(kind);
  return found == constants.end() ? components(kind) : scalar(choices_.from(found->second));
}

Array Arguments::identifier() {
  if (model_.handles().empty()) return wildIdentifier();
  const Handle& handle = choices_.from(model_.handles());
  subject_.file = handle.file.get();
  return row<std::uint64_t>({handle.value});
}

std::size_t Arguments::number(const std::string& name) {
  if (name == "variable" && subject_.file != nullptr) {
    const std::size_t i = choices_.below(subject_.file->variables.size());
    if (i < subject_.file->variables.size()) subject_.variable = &subject_.file->variables[i];
    return i;
  }
  if (name == "attribute" && subject_.file != nullptr) {
    return choices_.below(subject_.file->attributes.size());
  }
  if (name == "entry") return choices_.below(5);
  if (name == "numElements") {
    const DatatypeRow* type = rowOf(subject_.datatype);
    return type != nullptr && type->classId == vlCHAR_CLASS ? upTo(6) : 1;
  }
  if (name == "recordCount") return subject_.recordCount = upTo(4);
  if (name == "recordInterval") return upTo(3);
  if (name == "parameter") return upTo(9);
  return choices_.below(name == "last" ? 40 : 12);
}

Array Arguments::list(const std::string& name) {
  std::vector<double> numbers;
  for (std::size_t i = 0; name == "dimSizes" && i < subject_.numDims; ++i) {
    numbers.push_back(static_cast<double>(upTo(4)));
  }
  for (std::size_t i = 0; subject_.variable && i < subject_.variable->dimSizes.size(); ++i) {
    const auto size = static_cast<std::size_t>(subject_.variable->dimSizes[i]);
    const std::size_t start =
        subject_.indices.size() > i ? static_cast<std::size_t>(subject_.indices[i]) : 0;
    if (name == "indices") numbers.push_back(static_cast<double>(choices_.below(size)));
    if (name == "counts") numbers.push_back(static_cast<double>(upTo(size - start)));
    if (name == "intervals") numbers.push_back(choices_.oneIn(4) ? 2 : 1);
  }
  if (name == "indices") subject_.indices = numbers;
  if (name == "counts") subject_.counts = numbers;
  return row(numbers);
}

Array Arguments::variances(std::size_t count) {
  Array array = newArray(choices_.oneIn(2) ? vlLOGICAL_CLASS : vlDOUBLE_CLASS, {1, count});
  const bool isLogical = vlGetClassID(array.get()) == vlLOGICAL_CLASS;
  visitElements(array.get(), [&](auto* elements, std::size_t) {
    using Element = std::remove_pointer_t<decltype(elements)>;
    for (std::size_t i = 0; i < count; ++i) {
      if (!choices_.oneIn(8)) elements[i] = static_cast<Element>(isLogical ? 1 : -1);
    }
  });
  return array;
}

std::size_t Arguments::elementsExpected() const {
  if (subject_.variable == nullptr) return 3;
  auto count = static_cast<double>(subject_.variable->numElements);
  if (is("putVarRecordData")) {
    for (const long size : subject_.variable->dimSizes) count *= static_cast<double>(size);
  }
  if (is("hyperPutVarData")) {
    for (const double size : subject_.counts) count *= size;
    count *= static_cast<double>(subject_.recordCount);
  }
  return count < 100000 ? static_cast<std::size_t>(count) : 1;
}

Array Arguments::values() {
  const DatatypeRow* type = rowOf(
      subject_.variable ? static_cast<double>(subject_.variable->datatype) : subject_.datatype);
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
  const auto found = times.find(kind);
  if (found == times.end()) return row<std::int64_t>({536500868184000001});
  std::vector<double> numbers(found->second, 2020);
  for (double& number : numbers) {
    if (!choices_.oneIn(4)) number = static_cast<double>(upTo(12));
    if (choices_.oneIn(12)) number = extreme();
  }
  return row(numbers);
}

double Arguments::extreme() {
  if (operation_->name.rfind("get", 0) == 0 && choices_.oneIn(8)) return choices_.from(immense);
  return choices_.oneIn(3) ? choices_.from(extremes) : choices_.from(odd);
}

Array Arguments::wild(const Parameter& parameter) {
  const std::string& kind = parameter.kind;
  const bool isText = kind == "text" || kind == "path";
  if (kind == "file" && !choices_.oneIn(4)) return wildIdentifier();
  // A careful sequence takes no numbers and names but fitting ones.
  if (!model_.careful() && !choices_.oneIn(4)) {
    if (isText) return wildText(kind == "path");
    if (choices_.oneIn(4)) {
      return row(
          std::vector<double>(choices_.from({0UL, 1UL, 2UL, 3UL, 10UL, 11UL, 40UL}), extreme()));
    }
    if (kind != "values") return scalar(extreme());
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
