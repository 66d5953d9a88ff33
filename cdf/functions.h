/// The functions of the CDF library, version 3, that the gateway calls. The library need not come
/// with its header; where there is one, cdf/check_header.cpp compares.
#pragma once

extern "C" {

typedef void* CDFid;
typedef long CDFstatus;

/// Reads every integer of the item list as a long: called through cdf/library.h only.
CDFstatus CDFlib(long function, ...);
CDFstatus CDFcreateCDF(const char* name, CDFid* id);

/// A variable's or attribute's number, or a negative status.
long CDFgetVarNum(CDFid id, const char* name);
long CDFgetAttrNum(CDFid id, const char* name);

CDFstatus CDFinquireAttr(CDFid id, long attribute, char* name, long* scope, long* maxgEntry,
                         long* maxrEntry, long* maxzEntry);
CDFstatus CDFinquireAttrEntry(CDFid id, int kind, long attribute, long entry, long* datatype,
                              long* numElements);
CDFstatus CDFgetAttrEntry(CDFid id, int kind, long attribute, long entry, void* value);
CDFstatus CDFputAttrEntry(CDFid id, int kind, long attribute, long entry, long datatype,
                          long numElements, const void* value);
CDFstatus CDFdeleteAttrEntry(CDFid id, int kind, long attribute, long entry);
CDFstatus CDFgetNumAttrEntries(CDFid id, int kind, long attribute, long* count);
CDFstatus CDFgetAttrMaxEntry(CDFid id, int kind, long attribute, long* entry);

CDFstatus CDFgetVarRecordData(CDFid id, int zVariable, long variable, long record, void* values);
CDFstatus CDFputVarRecordData(CDFid id, int zVariable, long variable, long record,
                              const void* values);

void CDFsetValidate(long mode);
int CDFgetValidate(void);

double computeEPOCH(long year, long month, long day, long hour, long minute, long second,
                    long msec);
double computeEPOCH16(long year, long month, long day, long hour, long minute, long second,
                      long msec, long usec, long nsec, long psec, double epoch[2]);
void EPOCHbreakdown(double epoch, long* year, long* month, long* day, long* hour, long* minute,
                    long* second, long* msec);
void EPOCH16breakdown(double epoch[2], long* year, long* month, long* day, long* hour, long* minute,
                      long* second, long* msec, long* usec, long* nsec, long* psec);

/// Year, month, day and then, as long as the caller goes on, hour, minute, second, millisecond,
/// microsecond and nanosecond: as double, and as pointers to double.
long long computeTT2000(double year, double month, double day, ...);
void breakdownTT2000(long long tt2000, double* year, double* month, double* day, ...);

}  // extern "C"
