// Many things in one file, and many files. Each way makes its file, does the work and deletes the
// file again, so that both ways pay for the same.
#include "bench/pairs.h"
#include "bench/session.h"
#include "bench/works.h"

namespace bench {

namespace {

using namespace tarvik;  // The names of the library's items.

constexpr long realType = 45;

/// Values written one by one, each in a record of its own.
std::vector<Way> singleValues(long count) {
  return {{"gateway",
           [=, put = std::make_shared<Call>("putVarData")] {
             const File file("many");
             const Array variable =
                 number(static_cast<double>(createVariable(file.handle(), "v", {realType, 1, {}})));
             const Array record = number(0), place = list({}), value = number(1.5);
             for (long i = 0; i < count; ++i) {
               *static_cast<double*>(vlGetData(record.get())) = static_cast<double>(i);
               (*put)({file.id(), variable.get(), record.get(), place.get(), value.get()});
             }
           }},
          {"library", [=] {
             const File file("many");
             const long variable = createVariable(file.handle(), "v", {realType, 1, {}});
             const double value = 1.5;
             const long place = 0;
             for (long i = 0; i < count; ++i) {
               inquireVariable(file.handle(), variable);
               inquireMajority(file.handle());
               must(cdf::onVariable(file.handle(), variable, zVAR_RECNUMBER_, i, zVAR_DIMINDICES_,
                                    &place, PUT_, zVAR_DATA_, &value));
             }
           }}};
}

void createByGateway(const File& file, long count) {
  const Call create("createVar");
  const Array type = number(realType), one = number(1), none = list({}), vary = number(-1);
  for (long i = 0; i < count; ++i) {
    const Array name = text("variable_" + std::to_string(i));
    create({file.id(), name.get(), type.get(), one.get(), none.get(), vary.get(), none.get()});
  }
}

void createDirectly(const File& file, long count) {
  for (long i = 0; i < count; ++i) {
    inquireMajority(file.handle());
    createVariable(file.handle(), "variable_" + std::to_string(i), {realType, 1, {}});
  }
}

std::vector<Way> variables(long count) {
  return {{"gateway",
           [=] {
             const File file("many");
             createByGateway(file, count);
           }},
          {"library", [=] {
             const File file("many");
             createDirectly(file, count);
           }}};
}

constexpr long attributesEach = 15;

void createAttributes(const File& file) {
  for (long i = 0; i < attributesEach; ++i) {
    createAttribute(file.handle(), "attribute_" + std::to_string(i), VARIABLE_SCOPE);
  }
}

/// Calls `each` with every attribute's and every variable's number.
template <typename Each>
void everyEntry(long count, const Each& each) {
  for (long variable = 0; variable < count; ++variable) {
    for (long attribute = 0; attribute < attributesEach; ++attribute) each(attribute, variable);
  }
}

/// Variables with fifteen attributes each: entries written and read back.
std::vector<Way> entries(long count) {
  return {{"gateway",
           [=] {
             const File file("many");
             createByGateway(file, count);
             createAttributes(file);
             const Call put("putAttrEntry"), get("getAttrEntry");
             const Array type = number(realType), value = number(1.5);
             everyEntry(count, [&](long attribute, long variable) {
               const Array a = number(static_cast<double>(attribute));
               const Array v = number(static_cast<double>(variable));
               put({file.id(), a.get(), v.get(), type.get(), value.get()});
             });
             everyEntry(count, [&](long attribute, long variable) {
               const Array a = number(static_cast<double>(attribute));
               const Array v = number(static_cast<double>(variable));
               get({file.id(), a.get(), v.get()});
             });
           }},
          {"library", [=] {
             const File file("many");
             createDirectly(file, count);
             createAttributes(file);
             double value = 1.5;
             everyEntry(count, [&](long attribute, long variable) {
               long scope = 0;
               must(cdf::onAttribute(file.handle(), attribute, GET_, ATTR_SCOPE_, &scope));
               must(CDFputAttrEntry(file.handle(), 3, attribute, variable, realType, 1, &value));
             });
             everyEntry(count, [&](long attribute, long variable) {
               long datatype = 0, numElements = 0;
               must(CDFinquireAttrEntry(file.handle(), 3, attribute, variable, &datatype,
                                        &numElements));
               must(CDFgetAttrEntry(file.handle(), 3, attribute, variable, &value));
             });
           }}};
}

/// A file with one variable, opened and closed again and again.
std::vector<Way> openings(long count) {
  const std::string name = path("opened.cdf");
  if (!std::filesystem::exists(name)) {
    CDFid file = nullptr;
    must(CDFcreateCDF(name.c_str(), &file));
    createVariable(file, "v", {realType, 1, {}});
    must(cdf::onFile(file, CLOSE_, CDF_));
  }
  return {{"gateway",
           [=] {
             const Call open("open"), close("close");
             const Array given = text(name);
             for (long i = 0; i < count; ++i) close({open({given.get()}).get()});
           }},
          {"library", [=] {
             for (long i = 0; i < count; ++i) {
               CDFid file = nullptr;
               must(cdf::call(OPEN_, CDF_, name.c_str(), &file));
               must(cdf::onFile(file, CDF_zMODE_, zMODEon2));
               must(cdf::onFile(file, CLOSE_, CDF_));
             }
           }}};
}

/// The same for several numbers of things, which shows how the time of one grows.
void addGrowing(const std::string& name, std::vector<Way> (*ways)(long),
                const std::vector<long>& sizes) {
  for (const long size : sizes) {
    const long count = trial() ? 10 : size;
    add({"many/" + name + "/" + std::to_string(count), 1, size > 100000 ? 2 : 3, 0,
         static_cast<double>(count), [=] { return ways(count); }});
    if (trial()) break;
  }
}

}  // namespace

void addMany() {
  addGrowing("single values written", singleValues, {1000, 10000, 100000, 1000000});
  addGrowing("variables created", variables, {1000, 5000});
  addGrowing("variables with 15 attributes", entries, {100, 400});
  addGrowing("files opened and closed", openings, {1000, 10000});
}

}  // namespace bench
