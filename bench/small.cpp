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
  Array id = identifier(file.handle()), number, record = bench::number(3), zero = bench::number(0),
        one = bench::number(1), place = list({2, 5}), counts = list({2, 1}), steps = list({1, 1}),
        six = list({1, 2, 3, 4, 5, 6}), value = bench::number(2.5), type = bench::number(45),
        block = filled(vlDOUBLE_CLASS, {32, 32}), name = text("Temperature"),
        constant = text("CDF_INT4");
};

void transferValue(Small& s, long function, double* value) {
  const long place[] = {2, 5};
  bench::transferValue(s.file.handle(), s.variable, 3, place, function, value);
}

/// Into memory of its own, as the gateway's values come.
void readValue(Small& s) {
  const std::unique_ptr<double> fresh(new double);
  transferValue(s, GET_, fresh.get());
}

/// What the gateway asks before most transfers.
void inquire(Small& s) {
  inquireVariable(s.file.handle(), s.variable);
  inquireMajority(s.file.handle());
}

/// Two values of each of three records.
void transferHyperslab(Small& s, long function, double* values) {
  const long indices[] = {5, 2}, counts[] = {1, 2}, intervals[] = {1, 1};
  must(cdf::onVariable(s.file.handle(), s.variable, zVAR_RECNUMBER_, 3L, zVAR_RECCOUNT_, 3L,
                       zVAR_RECINTERVAL_, 1L, zVAR_DIMINDICES_, &indices[0], zVAR_DIMCOUNTS_,
                       &counts[0], zVAR_DIMINTERVALS_, &intervals[0], function, zVAR_HYPERDATA_,
                       values));
}

/// A call: its inputs, and the library calls that it makes.
struct SmallCall {
  const char* name;
  const char* operation;
  std::vector<Array Small::*> inputs;
  void (*library)(Small&);
};

const SmallCall smallCalls[] = {
    {"dispatch and one scalar",
     "getCacheSize",
     {&Small::id},
     [](Small& s) {
       long size = 0;
       must(cdf::onFile(s.file.handle(), CONFIRM_, CDF_CACHESIZE_, &size));
     }},
    {"constant value", "getConstantValue", {&Small::constant}, [](Small&) {}},
    {"read one value",
     "getVarData",
     {&Small::id, &Small::number, &Small::record, &Small::place},
     [](Small& s) {
       inquire(s);
       readValue(s);
     }},
    {"write one value",
     "putVarData",
     {&Small::id, &Small::number, &Small::record, &Small::place, &Small::value},
     [](Small& s) {
       inquire(s);
       double value = 2.5;
       transferValue(s, PUT_, &value);
     }},
    {"read one record of 8 KiB",
     "getVarRecordData",
     {&Small::id, &Small::number, &Small::record},
     [](Small& s) {
       inquire(s);
       const std::unique_ptr<double[]> fresh(new double[1024]);
       must(CDFgetVarRecordData(s.file.handle(), 1, s.variable, 3, fresh.get()));
     }},
    {"write one record of 8 KiB",
     "putVarRecordData",
     {&Small::id, &Small::number, &Small::record, &Small::block},
     [](Small& s) {
       inquireVariable(s.file.handle(), s.variable);
       must(CDFputVarRecordData(s.file.handle(), 1, s.variable, 3, s.values.data()));
     }},
    {"read one hyperslab of 6 values",
     "hyperGetVarData",
     {&Small::id, &Small::number, &Small::record, &Small::record, &Small::one, &Small::place,
      &Small::counts, &Small::steps},
     [](Small& s) {
       inquire(s);
       const std::unique_ptr<double[]> fresh(new double[6]);
       transferHyperslab(s, GET_, fresh.get());
     }},
    {"write one hyperslab of 6 values",
     "hyperPutVarData",
     {&Small::id, &Small::number, &Small::record, &Small::record, &Small::one, &Small::place,
      &Small::counts, &Small::steps, &Small::six},
     [](Small& s) {
       inquire(s);
       transferHyperslab(s, PUT_, s.values.data());
     }},
    {"read an attribute entry",
     "getAttrEntry",
     {&Small::id, &Small::one, &Small::zero},
     [](Small& s) {
       long datatype = 0, numElements = 0;
       must(CDFinquireAttrEntry(s.file.handle(), 3, 1, 0, &datatype, &numElements));
       std::vector<char> bytes(static_cast<std::size_t>(numElements) * 8);
       must(CDFgetAttrEntry(s.file.handle(), 3, 1, 0, bytes.data()));
     }},
    {"write an attribute entry",
     "putAttrEntry",
     {&Small::id, &Small::one, &Small::zero, &Small::type, &Small::place},
     [](Small& s) {
       long scope = 0;
       must(cdf::onAttribute(s.file.handle(), 1L, GET_, ATTR_SCOPE_, &scope));
       must(CDFputAttrEntry(s.file.handle(), 3, 1, 0, 45, 2, s.values.data()));
     }},
    {"inquire a file",
     "inquire",
     {&Small::id},
     [](Small& s) {
       long numDims = 0, encoding = 0, majority = 0, maxRecord = 0, numVars = 0, numAttrs = 0;
       std::array<long, CDF_MAX_DIMS> sizes{};
       must(cdf::onFile(s.file.handle(), GET_, rVARs_NUMDIMS_, &numDims, rVARs_DIMSIZES_,
                        sizes.data(), CDF_ENCODING_, &encoding, CDF_MAJORITY_, &majority,
                        rVARs_MAXREC_, &maxRecord, CDF_NUMrVARS_, &numVars, zVARs_MAXREC_,
                        &maxRecord, CDF_NUMzVARS_, &numVars, CDF_NUMATTRS_, &numAttrs));
     }},
    {"inquire a variable",
     "inquireVar",
     {&Small::id, &Small::number},
     [](Small& s) { inquire(s); }},
    {"variable's number",
     "getVarNum",
     {&Small::id, &Small::name},
     [](Small& s) { must(CDFgetVarNum(s.file.handle(), "Temperature")); }},
    {"variable's name",
     "getVarName",
     {&Small::id, &Small::number},
     [](Small& s) {
       NameBuffer name{};
       must(cdf::onVariable(s.file.handle(), s.variable, GET_, zVAR_NAME_, name.data()));
     }},
};

void addCall(const SmallCall& call) {
  // Short turns: the two ways of one see the machine in the same state.
  add({std::string("small/") + call.name, 500, 201, 0, 1, [call] {
         const auto small = std::make_shared<Small>();
         std::vector<const vlArray*> inputs;
         for (const auto input : call.inputs) inputs.push_back((small.get()->*input).get());
         return std::vector<Way>{
             {"gateway", [small, run = Call(call.operation).with(inputs)] { run(); }},
             {"library", [small, call] { call.library(*small); }}};
       }});
}

}  // namespace

void addSmall() {
  for (const SmallCall& call : smallCalls) addCall(call);
}

}  // namespace bench
