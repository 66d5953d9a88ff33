// What a file is, and the few of these things that can be changed.
#include <array>

#include "convert/code_names.h"
#include "gateway/handlers.h"
#include "ops/file/numbers.h"

namespace tarvik::ops {

namespace {

// In the case in which users see them, which is not that of the named constants.
constexpr CodeName encodings[] = {
    {1, "NETWORK_ENCODING"},    {2, "SUN_ENCODING"},        {3, "VAX_ENCODING"},
    {4, "DECSTATION_ENCODING"}, {5, "SGi_ENCODING"},        {6, "IBMPC_ENCODING"},
    {7, "IBMRS_ENCODING"},      {8, "HOST_ENCODING"},       {9, "MAC_ENCODING"},
    {11, "HP_ENCODING"},        {12, "NeXT_ENCODING"},      {13, "ALPHAOSF1_ENCODING"},
    {14, "ALPHAVMSd_ENCODING"}, {15, "ALPHAVMSg_ENCODING"}, {16, "ALPHAVMSi_ENCODING"},
};
constexpr CodeName majorities[] = {{ROW_MAJOR, "ROW_MAJOR"}, {COLUMN_MAJOR, "COLUMN_MAJOR"}};
constexpr CodeName formats[] = {{SINGLE_FILE, "SINGLE_FILE"}, {MULTI_FILE, "MULTI_FILE"}};
constexpr CodeName readOnlyModes[] = {{-1, "READONLYon"}, {0, "READONLYoff"}};

// Both belong to inquire; their identifiers say inquireCDF.
constexpr UnknownCode unknownEncoding{"VORLAN:tarvik:inquireCDF:unknownEncoding",
                                      "Unrecognized encoding value %d."};
constexpr UnknownCode inquiredMajority{"VORLAN:tarvik:inquireCDF:unrecognizedMajority",
                                       "Unrecognized majority value %d."};
constexpr UnknownCode unknownMajority{"VORLAN:tarvik:getMajority:unrecognizedMajority",
                                      "The majority value %d is not recognized."};
constexpr UnknownCode unknownFormat{"VORLAN:tarvik:getFormat:unrecognizedFormat",
                                    "The format value %d is not recognized."};
constexpr UnknownCode unknownReadOnlyMode{"VORLAN:tarvik:getReadOnlyMode:unrecognizedMode",
                                          "The mode value %d is not recognized."};

/// What one call of the library gives of a file. It is asked for the r-variables too, and these
/// answers are dropped.
struct FileFacts {
  long numRDims = 0;
  std::array<long, CDF_MAX_DIMS> rDimSizes{};
  long encoding = 0;
  long majority = 0;
  long maxRRecord = 0;
  long numRVars = 0;
  long maxZRecord = 0;
  long numZVars = 0;
  long numAttributes = 0;
};

FileFacts askFacts(CDFid file, const OperationEntry* entry) {
  FileFacts facts;
  check(entry, cdf::onFile(file, GET_, rVARs_NUMDIMS_, &facts.numRDims, rVARs_DIMSIZES_,
                           facts.rDimSizes.data(), CDF_ENCODING_, &facts.encoding, CDF_MAJORITY_,
                           &facts.majority, rVARs_MAXREC_, &facts.maxRRecord, CDF_NUMrVARS_,
                           &facts.numRVars, zVARs_MAXREC_, &facts.maxZRecord, CDF_NUMzVARS_,
                           &facts.numZVars, CDF_NUMATTRS_, &facts.numAttributes));
  return facts;
}

}  // namespace

void inquire(int, vlArray* outputs[], int, const vlArray* inputs[], const OperationEntry* entry) {
  const FileFacts facts = askFacts(unpackCDFId(inputs[0]), entry);
  const char* encoding = nameOf(encodings, facts.encoding, unknownEncoding);
  const char* majority = nameOf(majorities, facts.majority, inquiredMajority);
  outputs[0] = vlCreateString(encoding);
  outputs[1] = vlCreateString(majority);
  outputs[2] = packUpLong(facts.maxZRecord);
  outputs[3] = packUpLong(facts.numZVars);
  outputs[4] = packUpLong(facts.numAttributes);
}

void getName(int, vlArray* outputs[], int, const vlArray* inputs[], const OperationEntry* entry) {
  const CDFid file = unpackCDFId(inputs[0]);
  PathBuffer name{};
  check(entry, cdf::onFile(file, CONFIRM_, CDF_NAME_, name.data()));
  outputs[0] = vlCreateString(name.data());
}

void getVersion(int, vlArray* outputs[], int, const vlArray* inputs[],
                const OperationEntry* entry) {
  const CDFid file = unpackCDFId(inputs[0]);
  long version = 0;
  long release = 0;
  long increment = 0;
  check(entry, cdf::onFile(file, GET_, CDF_VERSION_, &version, CDF_RELEASE_, &release,
                           CDF_INCREMENT_, &increment));
  outputs[0] = packUpLong(version);
  outputs[1] = packUpLong(release);
  outputs[2] = packUpLong(increment);
}

void getCopyright(int, vlArray* outputs[], int, const vlArray* inputs[],
                  const OperationEntry* entry) {
  const CDFid file = unpackCDFId(inputs[0]);
  CopyrightBuffer text{};
  check(entry, cdf::onFile(file, GET_, CDF_COPYRIGHT_, text.data()));
  outputs[0] = vlCreateString(text.data());
}

void getFormat(int, vlArray* outputs[], int, const vlArray* inputs[], const OperationEntry* entry) {
  const long format = askFile(inputs, entry, GET_, CDF_FORMAT_);
  outputs[0] = vlCreateString(nameOf(formats, format, unknownFormat));
}

void setFormat(int, vlArray*[], int, const vlArray* inputs[], const OperationEntry* entry) {
  tellFile(inputs, entry, PUT_, CDF_FORMAT_);
}

void getMajority(int, vlArray* outputs[], int, const vlArray* inputs[],
                 const OperationEntry* entry) {
  const long majority = askFile(inputs, entry, GET_, CDF_MAJORITY_);
  outputs[0] = vlCreateString(nameOf(majorities, majority, unknownMajority));
}

void setMajority(int, vlArray*[], int, const vlArray* inputs[], const OperationEntry* entry) {
  tellFile(inputs, entry, PUT_, CDF_MAJORITY_);
}

void getReadOnlyMode(int, vlArray* outputs[], int, const vlArray* inputs[],
                     const OperationEntry* entry) {
  const long mode = askFile(inputs, entry, CONFIRM_, CDF_READONLY_MODE_);
  outputs[0] = vlCreateString(nameOf(readOnlyModes, mode, unknownReadOnlyMode));
}

void getNumvAttributes(int, vlArray* outputs[], int, const vlArray* inputs[],
                       const OperationEntry* entry) {
  outputs[0] = packUpLong(askFile(inputs, entry, GET_, CDF_NUMvATTRS_));
}

void getNumgAttributes(int, vlArray* outputs[], int, const vlArray* inputs[],
                       const OperationEntry* entry) {
  outputs[0] = packUpLong(askFile(inputs, entry, GET_, CDF_NUMgATTRS_));
}

}  // namespace tarvik::ops
