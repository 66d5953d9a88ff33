// Calls that move little: what the gateway and the host add to a call of the library.
#include <array>

#include "bench/pairs.h"
#include "bench/session.h"
#include "bench/works.h"

namespace bench {

namespace {

using namespace tarvik;  // The names of the library's items.

/// A file with a variable of 8 KiB records, ten of them, and two attributes with an entry each.
struct Small {
  Small() : file("small") {
    variable = createVariable(file.handle(), "Temperature", {45, 1, {32, 32}});
    for (long i = 0; i < 10; ++i) {
      must(CDFputVarRecordData(file.handle(), 1, variable, i, values.data()));
    }
    number = bench::number(static_cast<double>(variable));
    createAttribute(file.handle(), "Title", GLOBAL_SCOPE);
    const long units = createAttribute(file.handle(), "UNITS", VARIABLE_SCOPE);
    must(CDFputAttrEntry(file.handle(), 3, units, 0, 45, 3, values.data()));
  }

  File file;
  long variable = 0;
  std::vector<double> values = std::vector<double>(1024, 1.5);
  Array number, record = bench::number(3), zero = bench::number(0), one = bench::number(1),
                place = list({2, 5}), value = bench::number(2.5), type = bench::number(45),
                block = filled(vlDOUBLE_CLASS, {32, 32}), name = text("Temperature"),
                constant = text("CDF_INT4");
};

using Shared = std::shared_ptr<Small>;

void addCall(const std::string& name, const char* operation,
             std::vector<const vlArray*> (*inputs)(const Small&), void (*library)(Small&)) {
  add({"small/" + name, 5000, 21, 0, 1, [=] {
         const Shared small = std::make_shared<Small>();
         return std::vector<Way>{
             {"gateway", [small, call = Call(operation), given = inputs(*small)] { call(given); }},
             {"library", [small, library] { library(*small); }}};
       }});
}

void transferValue(Small& s, long function) {
  inquireVariable(s.file.handle(), s.variable);
  inquireMajority(s.file.handle());
  const long place[] = {2, 5};
  double value = 2.5;
  must(cdf::onVariable(s.file.handle(), s.variable, zVAR_RECNUMBER_, 3L, zVAR_DIMINDICES_, place,
                       function, zVAR_DATA_, &value));
}

}  // namespace

void addSmall() {
  addCall(
      "dispatch and one scalar", "getValidate",
      [](const Small&) { return std::vector<const vlArray*>{}; }, [](Small&) { CDFgetValidate(); });
  addCall(
      "constant value", "getConstantValue",
      [](const Small& s) { return std::vector<const vlArray*>{s.constant.get()}; }, [](Small&) {});
  addCall(
      "read one value", "getVarData",
      [](const Small& s) {
        return std::vector<const vlArray*>{s.file.id(), s.number.get(), s.record.get(),
                                           s.place.get()};
      },
      [](Small& s) { transferValue(s, GET_); });
  addCall(
      "write one value", "putVarData",
      [](const Small& s) {
        return std::vector<const vlArray*>{s.file.id(), s.number.get(), s.record.get(),
                                           s.place.get(), s.value.get()};
      },
      [](Small& s) { transferValue(s, PUT_); });
  addCall(
      "read one record of 8 KiB", "getVarRecordData",
      [](const Small& s) {
        return std::vector<const vlArray*>{s.file.id(), s.number.get(), s.record.get()};
      },
      [](Small& s) {
        inquireVariable(s.file.handle(), s.variable);
        inquireMajority(s.file.handle());
        const std::unique_ptr<double[]> fresh(new double[1024]);
        must(CDFgetVarRecordData(s.file.handle(), 1, s.variable, 3, fresh.get()));
      });
  addCall(
      "write one record of 8 KiB", "putVarRecordData",
      [](const Small& s) {
        return std::vector<const vlArray*>{s.file.id(), s.number.get(), s.record.get(),
                                           s.block.get()};
      },
      [](Small& s) {
        inquireVariable(s.file.handle(), s.variable);
        must(CDFputVarRecordData(s.file.handle(), 1, s.variable, 3, s.values.data()));
      });
  addCall(
      "read an attribute entry", "getAttrEntry",
      [](const Small& s) {
        return std::vector<const vlArray*>{s.file.id(), s.one.get(), s.zero.get()};
      },
      [](Small& s) {
        long datatype = 0, numElements = 0;
        must(CDFinquireAttrEntry(s.file.handle(), 3, 1, 0, &datatype, &numElements));
        std::vector<char> bytes(static_cast<std::size_t>(numElements) * 8);
        must(CDFgetAttrEntry(s.file.handle(), 3, 1, 0, bytes.data()));
      });
  addCall(
      "write an attribute entry", "putAttrEntry",
      [](const Small& s) {
        return std::vector<const vlArray*>{s.file.id(), s.one.get(), s.zero.get(), s.type.get(),
                                           s.place.get()};
      },
      [](Small& s) {
        long scope = 0;
        must(cdf::onAttribute(s.file.handle(), 1L, GET_, ATTR_SCOPE_, &scope));
        must(CDFputAttrEntry(s.file.handle(), 3, 1, 0, 45, 2, s.values.data()));
      });
  addCall(
      "inquire a file", "inquire",
      [](const Small& s) { return std::vector<const vlArray*>{s.file.id()}; },
      [](Small& s) {
        long numDims = 0, encoding = 0, majority = 0, maxRecord = 0, numVars = 0, numAttrs = 0;
        std::array<long, CDF_MAX_DIMS> sizes{};
        must(cdf::onFile(s.file.handle(), GET_, rVARs_NUMDIMS_, &numDims, rVARs_DIMSIZES_,
                         sizes.data(), CDF_ENCODING_, &encoding, CDF_MAJORITY_, &majority,
                         rVARs_MAXREC_, &maxRecord, CDF_NUMrVARS_, &numVars, zVARs_MAXREC_,
                         &maxRecord, CDF_NUMzVARS_, &numVars, CDF_NUMATTRS_, &numAttrs));
      });
  addCall(
      "inquire a variable", "inquireVar",
      [](const Small& s) {
        return std::vector<const vlArray*>{s.file.id(), s.number.get()};
      },
      [](Small& s) {
        inquireVariable(s.file.handle(), s.variable);
        inquireMajority(s.file.handle());
      });
  addCall(
      "variable's number", "getVarNum",
      [](const Small& s) {
        return std::vector<const vlArray*>{s.file.id(), s.name.get()};
      },
      [](Small& s) { must(CDFgetVarNum(s.file.handle(), "Temperature")); });
  addCall(
      "variable's name", "getVarName",
      [](const Small& s) {
        return std::vector<const vlArray*>{s.file.id(), s.number.get()};
      },
      [](Small& s) {
        NameBuffer name{};
        must(cdf::onVariable(s.file.handle(), s.variable, GET_, zVAR_NAME_, name.data()));
      });
}

}  // namespace bench
