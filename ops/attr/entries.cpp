// The entries of attributes: writing, reading, describing and deleting them. Global attributes have
// global entries, variable attributes one z-entry for each variable, numbered as the variable.
#include "cdf/guards.h"
#include "cdf/library.h"
#include "convert/datatypes.h"
#include "convert/numbers.h"
#include "convert/text.h"
#include "gateway/handlers.h"
#include "gateway/status.h"
#include "ops/attr/attribute.h"
#include "ops/attr/entry_buffer.h"

namespace tarvik::ops {

namespace {

struct Entry {
  Attribute attribute;
  long number;
};

/// The first three inputs: a file identifier, an attribute number and an entry number.
Entry unpackEntry(const vlArray* inputs[]) {
  const Attribute attribute = unpackAttribute(inputs);
  const long number = unpackLongScalar(inputs[2]);
  return {attribute, number};
}

struct EntryDescription {
  long datatype = 0;
  long numElements = 0;
};

EntryDescription describeEntry(const OperationEntry* operation, const Entry& entry, int kind) {
  EntryDescription description;
  check(operation,
        CDFinquireAttrEntry(entry.attribute.file, kind, entry.attribute.number, entry.number,
                            &description.datatype, &description.numElements));
  return description;
}

void getEntry(vlArray* outputs[], const vlArray* inputs[], const OperationEntry* operation,
              int kind) {
  const Entry entry = unpackEntry(inputs);
  const EntryDescription description = describeEntry(operation, entry, kind);
  arrayDimensions(operation->name, {description.numElements});
  EntryBuffer buffer;
  setInputBufferSize(buffer, description.datatype, description.numElements);
  check(operation, CDFgetAttrEntry(entry.attribute.file, kind, entry.attribute.number, entry.number,
                                   buffer.data()));
  outputs[0] = packUpAttributeEntry(buffer, description.datatype);
}

void inquireEntry(vlArray* outputs[], const vlArray* inputs[], const OperationEntry* operation,
                  int kind) {
  const EntryDescription description = describeEntry(operation, unpackEntry(inputs), kind);
  outputs[0] = packUpDatatype(description.datatype);
  outputs[1] = packUpLong(description.numElements);
}

void deleteEntry(const vlArray* inputs[], const OperationEntry* operation, int kind) {
  const Entry entry = unpackEntry(inputs);
  check(operation,
        CDFdeleteAttrEntry(entry.attribute.file, kind, entry.attribute.number, entry.number));
}

void checkValueClass(long datatype, const vlArray* value) {
  if (vlGetClassID(value) != mapCdfDatatypeToVorlan(datatype)) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:putAttrEntry:badDatatype",
                     "The specified datatype \"%s\" does not match with attribute datatype of %s.",
                     cdfDatatypeName(datatype).c_str(), vlGetClassName(value));
  }
}

/// The kind of entries that an attribute of this scope has.
int entryKind(long attribute, long scope) {
  if (scope != GLOBAL_SCOPE && scope != VARIABLE_SCOPE) {
    vlErrMsgIdAndTxt("VORLAN:tarvik:putAttrEntry:unrecognizedScope",
                     "Attribute number %d has an unrecognized scope value of %d.",
                     static_cast<int>(attribute), static_cast<int>(scope));
  }
  return scope == GLOBAL_SCOPE ? globalEntries : zEntries;
}

}  // namespace

// One handler for both operations: the attribute's scope says which kind of entry is written.
void putAttrEntry(int, vlArray*[], int, const vlArray* inputs[], const OperationEntry* operation) {
  const Entry entry = unpackEntry(inputs);
  const long datatype = unpackLongScalar(inputs[3]);
  const vlArray* value = inputs[4];
  checkValueClass(datatype, value);

  // Text is given a NUL behind its last character, which the count does not include: the library
  // looks for one in CDF_UCHAR entries.
  const HostBytes text = cdf::isText(datatype) ? narrow(value) : nullptr;
  const void* data = text ? text.get() : vlGetData(value);
  const std::size_t elements = vlGetNumberOfElements(value);
  const std::size_t count = datatype == CDF_EPOCH16 ? elements / 2 : elements;

  const long scope = inquireScope(operation, entry.attribute, tag::scopeInquiryfailure);
  const int kind = entryKind(entry.attribute.number, scope);
  check(operation, cdf::checkEntrySize(datatype, count));
  check(operation, CDFputAttrEntry(entry.attribute.file, kind, entry.attribute.number, entry.number,
                                   datatype, static_cast<long>(count), data));
}

void getAttrEntry(int, vlArray* outputs[], int, const vlArray* inputs[],
                  const OperationEntry* operation) {
  getEntry(outputs, inputs, operation, zEntries);
}

void getAttrgEntry(int, vlArray* outputs[], int, const vlArray* inputs[],
                   const OperationEntry* operation) {
  getEntry(outputs, inputs, operation, globalEntries);
}

void inquireAttrEntry(int, vlArray* outputs[], int, const vlArray* inputs[],
                      const OperationEntry* operation) {
  inquireEntry(outputs, inputs, operation, zEntries);
}

void inquireAttrgEntry(int, vlArray* outputs[], int, const vlArray* inputs[],
                       const OperationEntry* operation) {
  inquireEntry(outputs, inputs, operation, globalEntries);
}

void deleteAttrEntry(int, vlArray*[], int, const vlArray* inputs[],
                     const OperationEntry* operation) {
  deleteEntry(inputs, operation, zEntries);
}

void deleteAttrgEntry(int, vlArray*[], int, const vlArray* inputs[],
                      const OperationEntry* operation) {
  deleteEntry(inputs, operation, globalEntries);
}

}  // namespace tarvik::ops
