// Attributes themselves: making, finding, describing, renaming and deleting them, and counting
// their entries.
#include <string>

#include "cdf/guards.h"
#include "cdf/library.h"
#include "convert/numbers.h"
#include "convert/text.h"
#include "gateway/handlers.h"
#include "gateway/registry.h"
#include "gateway/status.h"
#include "ops/attr/attribute.h"

namespace tarvik::ops {

namespace {

/// CDFgetNumAttrEntries or CDFgetAttrMaxEntry.
using EntryCount = CDFstatus(CDFid file, int kind, long attribute, long* count);

/// The library's answer as it stands: a negative highest number for an attribute without entries.
void countEntries(vlArray* outputs[], const vlArray* inputs[], const OperationEntry* entry,
                  EntryCount* countFunction, int kind) {
  const Attribute attribute = unpackAttribute(inputs);
  long count = 0;
  check(entry, countFunction(attribute.file, kind, attribute.number, &count));
  outputs[0] = packUpLong(count);
}

}  // namespace

void createAttr(int, vlArray* outputs[], int, const vlArray* inputs[],
                const OperationEntry* entry) {
  const CDFid file = unpackCDFId(inputs[0]);
  const std::string name = unpackString(inputs[1]);
  const long scope = unpackLongScalar(inputs[2]);
  vlArray* result = packUpLong(0);
  long number = 0;
  check(entry, cdf::checkAttributeName(name));
  check(entry, cdf::onFile(file, CREATE_, ATTR_, name.c_str(), scope, &number));
  setLong(result, number);
  outputs[0] = result;
}

void deleteAttr(int, vlArray*[], int, const vlArray* inputs[], const OperationEntry* entry) {
  const Attribute attribute = unpackAttribute(inputs);
  check(entry, cdf::onAttribute(attribute.file, attribute.number, DELETE_, ATTR_));
}

void renameAttr(int, vlArray*[], int, const vlArray* inputs[], const OperationEntry* entry) {
  const Attribute attribute = unpackAttribute(inputs);
  const std::string name = unpackString(inputs[2]);
  check(entry, cdf::checkAttributeName(name));
  check(entry, cdf::onAttribute(attribute.file, attribute.number, PUT_, ATTR_NAME_, name.c_str()));
}

void getAttrNum(int, vlArray* outputs[], int, const vlArray* inputs[],
                const OperationEntry* entry) {
  const CDFid file = unpackCDFId(inputs[0]);
  const std::string name = unpackString(inputs[1]);
  const long number = CDFgetAttrNum(file, name.c_str());
  check(entry, number);
  outputs[0] = packUpLong(number);
}

void getAttrName(int, vlArray* outputs[], int, const vlArray* inputs[],
                 const OperationEntry* entry) {
  const Attribute attribute = unpackAttribute(inputs);
  NameBuffer name{};
  check(entry, cdf::onAttribute(attribute.file, attribute.number, GET_, ATTR_NAME_, name.data()));
  outputs[0] = vlCreateString(name.data());
}

void getAttrScope(int, vlArray* outputs[], int, const vlArray* inputs[],
                  const OperationEntry* entry) {
  const Attribute attribute = unpackAttribute(inputs);
  outputs[0] = packUpScope(inquireScope(entry, attribute, tag::failure));
}

void inquireAttr(int, vlArray* outputs[], int, const vlArray* inputs[],
                 const OperationEntry* entry) {
  const Attribute attribute = unpackAttribute(inputs);
  NameBuffer name{};
  long scope = 0;
  long maxgEntry = 0;
  long maxrEntry = 0;
  long maxzEntry = 0;
  check(entry, CDFinquireAttr(attribute.file, attribute.number, name.data(), &scope, &maxgEntry,
                              &maxrEntry, &maxzEntry));
  vlArray* scopeName = packUpScope(scope);
  outputs[0] = vlCreateString(name.data());
  outputs[1] = scopeName;
  outputs[2] = packUpLong(maxgEntry);
  outputs[3] = packUpLong(maxzEntry);
}

void getNumAttrgEntries(int, vlArray* outputs[], int, const vlArray* inputs[],
                        const OperationEntry* entry) {
  countEntries(outputs, inputs, entry, CDFgetNumAttrEntries, globalEntries);
}

void getNumAttrEntries(int, vlArray* outputs[], int, const vlArray* inputs[],
                       const OperationEntry* entry) {
  countEntries(outputs, inputs, entry, CDFgetNumAttrEntries, zEntries);
}

void getAttrMaxgEntry(int, vlArray* outputs[], int, const vlArray* inputs[],
                      const OperationEntry* entry) {
  countEntries(outputs, inputs, entry, CDFgetAttrMaxEntry, globalEntries);
}

void getAttrMaxEntry(int, vlArray* outputs[], int, const vlArray* inputs[],
                     const OperationEntry* entry) {
  countEntries(outputs, inputs, entry, CDFgetAttrMaxEntry, zEntries);
}

}  // namespace tarvik::ops
