#include "tests/gateway/gateway_test.h"

#include <algorithm>
#include <cstring>
#include <iomanip>
#include <limits>
#include <numeric>
#include <sstream>

#include "cdf/library.h"

namespace fs = std::filesystem;

namespace {

fs::path newFolder() {
  std::string name = (fs::temp_directory_path() / "gateway-XXXXXX").string();
  return mkdtemp(name.data());
}

void showText(std::ostream& out, const vlArray* text) {
  const auto* units = static_cast<const vlChar*>(vlGetData(text));
  std::for_each(units, units + vlGetNumberOfElements(text), [&](vlChar unit) {
    if (unit >= ' ' && unit <= '~') {
      out << static_cast<char>(unit);
    } else {
      out << '<' << std::hex << std::uppercase << unit << std::dec << '>';
    }
  });
}

}  // namespace

/// Read by the address sanitizer. Creating a CDF_UCHAR variable, the library runs strlen over the
/// value that it pads with, which has no NUL.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_suppressions() {
  return "interceptor_via_fun:WriteVDR64";
}

Array newArray(vlClassID classId, const Dims& dims) {
  switch (classId) {
    case vlCELL_CLASS:
      return Array(vlCreateCellMatrix(dims.at(0), dims.at(1)));
    case vlLOGICAL_CLASS:
      return Array(vlCreateLogicalArray(dims.size(), dims.data()));
    case vlCHAR_CLASS:
      return Array(vlCreateCharArray(dims.size(), dims.data()));
    default:
      return Array(vlCreateNumericArray(dims.size(), dims.data(), classId, vlREAL));
  }
}

Array chars(const Dims& dims, const std::u16string& elements) {
  Array array = newArray(vlCHAR_CLASS, dims);
  EXPECT_EQ(vlGetNumberOfElements(array.get()), elements.size());
  std::copy(elements.begin(), elements.end(), static_cast<vlChar*>(vlGetData(array.get())));
  return array;
}

Array patterned(vlClassID classId, const Dims& dims) {
  Array array = newArray(classId, dims);
  if (classId == vlCHAR_CLASS) {
    auto* units = static_cast<vlChar*>(vlGetData(array.get()));
    std::iota(units, units + vlGetNumberOfElements(array.get()), vlChar{'A'});
    return array;
  }
  visitElements(array.get(), [](auto* elements, std::size_t count) {
    using Limits = std::numeric_limits<std::remove_pointer_t<decltype(elements)>>;
    for (std::size_t i = 0; i < count; ++i) {
      const auto limit = i % 2 == 0 ? Limits::max() : Limits::lowest();
      elements[i] = static_cast<decltype(limit)>(limit / static_cast<decltype(limit)>(i + 1));
    }
  });
  return array;
}

void* handleOf(File file) {
  void* handle = nullptr;
  std::memcpy(&handle, &file.handle, sizeof(handle));
  return handle;
}

std::string textOf(const Array& array) {
  EXPECT_EQ(vlGetClassID(array.get()), vlCHAR_CLASS) << vlGetClassName(array.get());
  const auto* first = static_cast<const vlChar*>(vlGetData(array.get()));
  std::string text;
  std::transform(first, first + vlGetNumberOfElements(array.get()), std::back_inserter(text),
                 [](vlChar unit) { return static_cast<char>(unit); });
  return text;
}

std::string bytesOf(const Array& array, std::size_t size) {
  if (vlGetClassID(array.get()) == vlCHAR_CLASS) return textOf(array);
  return {static_cast<const char*>(vlGetData(array.get())), size};
}

double numberOf(const Array& array) {
  const std::vector<double> values = valuesOf<double>(array);
  EXPECT_EQ(values.size(), 1U);
  return values.at(0);
}

Dims dimsOf(const Array& array) {
  const std::size_t* dims = vlGetDimensions(array.get());
  return {dims, dims + vlGetNumberOfDimensions(array.get())};
}

std::string shown(const vlArray* array) {
  std::ostringstream out;
  out << std::setprecision(17) << vlGetClassName(array);
  const std::size_t* dims = vlGetDimensions(array);
  for (std::size_t i = 0; i < vlGetNumberOfDimensions(array); ++i) {
    out << (i == 0 ? ' ' : 'x') << dims[i];
  }
  out << ':';
  if (vlGetClassID(array) == vlCHAR_CLASS) {
    showText(out << ' ', array);
  } else if (vlGetClassID(array) == vlCELL_CLASS) {
    const std::size_t count = vlGetNumberOfElements(array);
    for (std::size_t i = 0; i < count; ++i) out << ' ' << shown(vlhost::cellValue(array, i));
  } else {
    visitElements(array, [&](const auto* elements, std::size_t count) {
      std::for_each(elements, elements + count, [&](auto element) { out << ' ' << +element; });
    });
  }
  return out.str();
}

std::ostream& operator<<(std::ostream& out, const Raised& raised) {
  return out << raised.identifier << ": " << raised.message;
}

GatewayTest::GatewayTest()
    : folder_(newFolder()), gateway_(std::make_unique<vlhost::Plugin>(GATEWAY)) {}

GatewayTest::~GatewayTest() {
  fs::remove_all(folder_);
}

void GatewayTest::TearDown() {
  for (const vlhost::Warning& warning : gateway_->unload()) {
    ADD_FAILURE() << "at the end: " << warning.message;
  }
  const vlhost::Holdings after = vlhost::holdings();
  EXPECT_EQ(after.arrays, before_.arrays);
  EXPECT_EQ(after.blocks, before_.blocks);
}

void GatewayTest::reload() {
  gateway_ = std::make_unique<vlhost::Plugin>(GATEWAY);
}

std::vector<Array> GatewayTest::callWith(const std::string& operation, const Inputs& inputs) {
  const Array name = vlhost::text(operation);
  std::vector<const vlArray*> arguments = {name.get()};
  std::transform(inputs.begin(), inputs.end(), std::back_inserter(arguments),
                 [](const Input& input) { return input.array; });
  vlhost::Result result = gateway_->call(arguments, 8);
  warnings_ = std::move(result.warnings);
  return std::move(result.outputs);
}

Raised GatewayTest::raisedWith(const std::string& operation, const Inputs& inputs) {
  const vlhost::Holdings held = vlhost::holdings();
  try {
    callWith(operation, inputs);
  } catch (const vlhost::Error& error) {
    EXPECT_EQ(vlhost::holdings().arrays, held.arrays) << error.what();
    EXPECT_EQ(vlhost::holdings().blocks, held.blocks) << error.what();
    return {error.identifier(), error.what()};
  }
  return {};
}

File GatewayTest::create(const std::string& name) {
  return {valuesOf<std::uint64_t>(call("create", path(name)).at(0)).at(0)};
}

File GatewayTest::open(const std::string& name) {
  return {valuesOf<std::uint64_t>(call("open", path(name)).at(0)).at(0)};
}

double GatewayTest::createVar(File file, const std::string& name, double datatype,
                              double numElements, const std::vector<double>& dimSizes) {
  return numberOf(call("createVar", file, name, datatype, numElements, dimSizes, -1.0,
                       List(dimSizes.size(), -1.0))
                      .at(0));
}

Raised failureOf(const std::string& operation, long status, const std::string& tag) {
  tarvik::StatusTextBuffer text{};
  tarvik::cdf::call(tarvik::SELECT_, tarvik::CDF_STATUS_, status, tarvik::GET_,
                    tarvik::STATUS_TEXT_, text.data());
  return {"VORLAN:tarvik:" + operation + ":" + tag,
          std::string("CDF library failure, \"") + text.data() + "\"."};
}
