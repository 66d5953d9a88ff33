/// The library's requests that the gateway may not pass on unseen: those that the bare library
/// cannot judge without crashing, losing the file or touching another file than the one named. Each
/// function here makes the request, or answers it in the library's stead with the status that the
/// library has for such a request. What the bare library does stands at each guard in guards.cpp.
///
/// All results are library statuses; a negative one is a refusal that changed nothing.
#pragma once

#include <cstddef>
#include <string>

#include "cdf/functions.h"
#include "cdf/items.h"
#include "cdf/lists.h"

namespace tarvik::cdf {

CDFstatus openFile(const std::string& path, CDFid* file);
CDFstatus createFile(const std::string& path, CDFid* file);

/// Sets the compression of the file as a whole.
CDFstatus compressFile(CDFid file, long type, const CompressionParameters& parameters);

/// The number of the variable or attribute of that name.
CDFstatus findVariable(CDFid file, const std::string& name);
CDFstatus findAttribute(CDFid file, const std::string& name);

/// What a variable is created with. Extents and variances are in the library's order and of the
/// same length.
struct VariableShape {
  long datatype;
  long numElements;
  Longs dimSizes;
  long recVary;
  Longs dimVarys;
};

CDFstatus createVariable(CDFid file, const std::string& name, const VariableShape& shape,
                         long* variable);
CDFstatus deleteVariable(CDFid file, long variable);
/// Deletes the records from `first` to `last`.
CDFstatus deleteRecords(CDFid file, long variable, long first, long last);
CDFstatus compressVariable(CDFid file, long variable, long type,
                           const CompressionParameters& parameters);
CDFstatus renameVariable(CDFid file, long variable, const std::string& name);
CDFstatus createAttribute(CDFid file, const std::string& name, long scope, long* attribute);
CDFstatus deleteAttribute(CDFid file, long attribute);
CDFstatus renameAttribute(CDFid file, long attribute, const std::string& name);

/// Whether the library refuses to change the file, by the library's code of the mode.
CDFstatus setReadOnlyMode(CDFid file, long mode);

/// The number of cache buffers for the scratch file of an open file.
CDFstatus setStageCacheSize(CDFid file, long buffers);
CDFstatus stageCacheSize(CDFid file, long* buffers);

/// Allocates the records from `first` to `last`.
CDFstatus allocateRecords(CDFid file, long variable, long first, long last);

/// The number of records that are allocated together.
CDFstatus setBlockingFactor(CDFid file, long variable, long factor);

/// What the records are that were never written, by the library's code.
CDFstatus setSparseRecords(CDFid file, long variable, long sparse);

/// The number of records to be written as a variable gets its first.
CDFstatus setInitialRecords(CDFid file, long variable, long count);

/// The value of an attribute entry. `data` holds `count` elements of the datatype.
struct EntryValue {
  long datatype;
  std::size_t count;
  const void* data;
};

/// `kind` is globalEntries or zEntries.
CDFstatus writeEntry(CDFid file, int kind, long attribute, long entry, const EntryValue& value);
CDFstatus deleteEntry(CDFid file, int kind, long attribute, long entry);

}  // namespace tarvik::cdf
