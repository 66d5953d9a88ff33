#include "bench/session.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <iostream>

namespace bench {

namespace {

vlhost::Plugin& plugin() {
  static vlhost::Plugin loaded(GATEWAY);
  return loaded;
}

/// The folder of the run.
struct Folder {
  std::filesystem::path path;
  Folder() {
    std::string name = (std::filesystem::temp_directory_path() / "bench-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) std::abort();
    path = name;
  }
  ~Folder() { std::filesystem::remove_all(path); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
};

}  // namespace

Array number(double value) {
  return Array(vlCreateDoubleScalar(value));
}

Array list(const std::vector<double>& values) {
  Array made(vlCreateNumericMatrix(values.size(), values.empty() ? 0 : 1, vlDOUBLE_CLASS, vlREAL));
  std::copy(values.begin(), values.end(), static_cast<double*>(vlGetData(made.get())));
  return made;
}

Array text(const std::string& value) {
  return vlhost::text(value);
}

Array identifier(CDFid file) {
  const std::size_t dims[] = {1, 1};
  Array made(vlCreateNumericArray(2, dims, vlUINT64_CLASS, vlREAL));
  std::memcpy(vlGetData(made.get()), &file, sizeof(file));
  return made;
}

Array unfilled(vlClassID classId, const std::vector<std::size_t>& dims) {
  return Array(classId == vlCHAR_CLASS
                   ? vlCreateCharArray(dims.size(), dims.data())
                   : vlCreateNumericArray(dims.size(), dims.data(), classId, vlREAL));
}

Array filled(vlClassID classId, const std::vector<std::size_t>& dims) {
  Array made = unfilled(classId, dims);
  const std::size_t count = vlGetNumberOfElements(made.get());
  if (classId == vlCHAR_CLASS) {
    auto* units = static_cast<vlChar*>(vlGetData(made.get()));
    for (std::size_t i = 0; i < count; ++i) units[i] = static_cast<vlChar>('a' + i % 23);
  } else {
    auto* doubles = static_cast<double*>(vlGetData(made.get()));
    for (std::size_t i = 0; i < count; ++i) doubles[i] = static_cast<double>(i % 997) * 0.25;
  }
  return made;
}

Call::Call(const char* operation) : name_(vlhost::text(operation)) {}

Array Call::operator()(const std::vector<const vlArray*>& inputs) const {
  std::vector<const vlArray*> arguments;
  arguments.reserve(inputs.size() + 1);
  arguments.push_back(name_.get());
  arguments.insert(arguments.end(), inputs.begin(), inputs.end());
  vlhost::Result result = plugin().call(arguments, 1);
  return result.outputs.empty() ? nullptr : std::move(result.outputs[0]);
}

std::function<void()> Call::with(const std::vector<const vlArray*>& inputs) const {
  std::vector<const vlArray*> arguments = {name_.get()};
  arguments.insert(arguments.end(), inputs.begin(), inputs.end());
  return [arguments, name = name_] { plugin().call(arguments, 1); };
}

void must(CDFstatus status) {
  if (status >= 0) return;
  tarvik::StatusTextBuffer words{};
  tarvik::cdf::call(tarvik::SELECT_, tarvik::CDF_STATUS_, status, tarvik::GET_,
                    tarvik::STATUS_TEXT_, words.data());
  std::cerr << "The CDF library refused a direct call: " << words.data() << '\n';
  std::exit(1);
}

std::string path(const std::string& name) {
  static const Folder folder;
  return (folder.path / name).string();
}

File::File(const std::string& name) : id_(Call("create")({text(path(name)).get()})) {
  std::memcpy(&handle_, vlGetData(id_.get()), sizeof(handle_));
}

File::~File() {
  Call("delete")({id_.get()});
}

long createVariable(CDFid file, const std::string& name, const Variable& variable) {
  const std::vector<long> varys(variable.dimSizes.size(), tarvik::VARY);
  long made = 0;
  must(tarvik::cdf::onFile(file, tarvik::CREATE_, tarvik::zVAR_, name.c_str(), variable.datatype,
                           variable.numElements, static_cast<long>(variable.dimSizes.size()),
                           variable.dimSizes.data(), tarvik::VARY, varys.data(), &made));
  return made;
}

long createAttribute(CDFid file, const std::string& name, long scope) {
  long made = 0;
  must(tarvik::cdf::onFile(file, tarvik::CREATE_, tarvik::ATTR_, name.c_str(), scope, &made));
  return made;
}

void inquireVariable(CDFid file, long variable) {
  tarvik::NameBuffer name{};
  long datatype = 0, numElements = 0, numDims = 0, recVary = 0;
  std::array<long, tarvik::CDF_MAX_DIMS> dimSizes{}, dimVarys{};
  must(tarvik::cdf::onVariable(file, variable, tarvik::GET_, tarvik::zVAR_NAME_, name.data(),
                               tarvik::zVAR_DATATYPE_, &datatype, tarvik::zVAR_NUMELEMS_,
                               &numElements, tarvik::zVAR_NUMDIMS_, &numDims,
                               tarvik::zVAR_DIMSIZES_, dimSizes.data(), tarvik::zVAR_RECVARY_,
                               &recVary, tarvik::zVAR_DIMVARYS_, dimVarys.data()));
}

void inquireValue(CDFid file, long variable) {
  long datatype = 0, numElements = 0, numDims = 0, recVary = 0, sparseRecords = 0, majority = 0;
  must(tarvik::cdf::onVariable(
      file, variable, tarvik::GET_, tarvik::zVAR_DATATYPE_, &datatype, tarvik::zVAR_NUMELEMS_,
      &numElements, tarvik::zVAR_NUMDIMS_, &numDims, tarvik::zVAR_RECVARY_, &recVary,
      tarvik::zVAR_SPARSERECORDS_, &sparseRecords, tarvik::CDF_MAJORITY_, &majority));
}

void inquireRecords(CDFid file, long variable) {
  long datatype = 0, numElements = 0, numDims = 0, recVary = 0, sparseRecords = 0, majority = 0;
  std::array<long, tarvik::CDF_MAX_DIMS> dimSizes{}, dimVarys{};
  must(tarvik::cdf::onVariable(
      file, variable, tarvik::GET_, tarvik::zVAR_DATATYPE_, &datatype, tarvik::zVAR_NUMELEMS_,
      &numElements, tarvik::zVAR_NUMDIMS_, &numDims, tarvik::zVAR_RECVARY_, &recVary,
      tarvik::zVAR_SPARSERECORDS_, &sparseRecords, tarvik::zVAR_DIMSIZES_, dimSizes.data(),
      tarvik::zVAR_DIMVARYS_, dimVarys.data(), tarvik::CDF_MAJORITY_, &majority));
}

void inquireMajority(CDFid file) {
  long majority = 0;
  must(tarvik::cdf::onFile(file, tarvik::GET_, tarvik::CDF_MAJORITY_, &majority));
}

}  // namespace bench
