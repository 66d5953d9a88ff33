#include "cdf/requests.h"

#include "cdf/blocks.h"
#include "cdf/call.h"
#include "cdf/descriptions.h"
#include "cdf/guards.h"
#include "cdf/notes.h"
#include "cdf/screen/screen.h"

namespace tarvik::cdf {

namespace {

constexpr CDFstatus NO_SUCH_ATTR = -2017;
constexpr CDFstatus NO_SUCH_VAR = -2019;

/// Makes a request that opens or creates a file, and takes note of it.
template <typename Request>
CDFstatus welcome(bool opened, CDFid* file, Request request) {
  NewNotes notes(opened);
  const CDFstatus status = request();
  if (status >= 0) {
    arrived(*file);
    notes.keepFor(*file);
  }
  return status;
}

CDFstatus putCompression(CDFid file, long variable, long type,
                         const CompressionParameters& parameters) {
  return onVariable(file, variable, PUT_, zVAR_COMPRESSION_, type, parameters.data());
}

}  // namespace

CDFstatus openFile(const std::string& path, CDFid* file) {
  return unlessRefused(judgePathToOpen(path), [&] {
    const std::string opened = fileToOpen(path);
    const CDFstatus other = judgeFileToOpen(path, opened);
    return unlessRefused(other < 0 ? other : screenFile(opened), [&] {
      return welcome(true, file, [&] { return call(OPEN_, CDF_, path.c_str(), file); });
    });
  });
}

CDFstatus createFile(const std::string& path, CDFid* file) {
  return unlessRefused(judgePathToCreate(path), [&] {
    return welcome(false, file, [&] { return CDFcreateCDF(path.c_str(), file); });
  });
}

CDFstatus compressFile(CDFid file, long type, const CompressionParameters& parameters) {
  const auto request = [&] {
    return onFile(file, PUT_, CDF_COMPRESSION_, type, parameters.data());
  };
  return unlessRefused(needsWrittenEnd(compressionOf(file), type) ? prepareToCompress(file) : 0,
                       request);
}

CDFstatus findVariable(CDFid file, const std::string& name) {
  return unlessRefused(judgeNameToFind(name, NO_SUCH_VAR),
                       [&] { return onFile(CDFgetVarNum, file, name.c_str()); });
}

CDFstatus findAttribute(CDFid file, const std::string& name) {
  return unlessRefused(judgeNameToFind(name, NO_SUCH_ATTR),
                       [&] { return onFile(CDFgetAttrNum, file, name.c_str()); });
}

CDFstatus createVariable(CDFid file, const std::string& name, const VariableShape& shape,
                         long* variable) {
  const CDFstatus badName = judgeVariableName(name);
  return unlessRefused(badName < 0 ? badName : judgeShape(shape), [&] {
    return onFile(file, CREATE_, zVAR_, name.c_str(), shape.datatype, shape.numElements,
                  static_cast<long>(shape.dimSizes.size()), shape.dimSizes.data(), shape.recVary,
                  shape.dimVarys.data(), variable);
  });
}

CDFstatus deleteVariable(CDFid file, long variable) {
  return unlessRefused(prepareToFree(file, variable), [&] {
    expectSmallRoom(file, variable);
    const CDFstatus status = onVariable(file, variable, DELETE_, zVAR_);
    if (status >= 0) {
      notesOn(file).remove(variable);
    }
    return status;
  });
}

CDFstatus deleteRecords(CDFid file, long variable, long first, long last) {
  long written = -1;
  const CDFstatus known = onVariable(file, variable, GET_, zVAR_MAXREC_, &written);
  if (known >= 0 && deletesNothing(first, last, written) &&
      compressionOf(file, variable) > NO_COMPRESSION) {
    return 0;
  }
  const bool isRange = 0 <= first && first <= last;
  return unlessRefused(isRange ? prepareToFree(file, variable) : 0, [&] {
    if (isRange && written >= 0) {
      notesOn(file).variables[variable].deletedFrom = true;
      expectSmallRoom(file, variable);
    }
    return onVariable(file, variable, DELETE_, zVAR_RECORDS_, first, last);
  });
}

// The library looks at how a variable is stored as it first has to do with its records. Asked for
// the reserve, it looks, and has none to tell of where the variable is not compressed.
CDFstatus compressVariable(CDFid file, long variable, long type,
                           const CompressionParameters& parameters) {
  const long before = compressionOf(file, variable);
  if (before == unknownCompression) {
    return putCompression(file, variable, type, parameters);
  }
  VariableNotes& notes = notesOn(file).variables[variable];
  return unlessRefused(judgeCompression(before, type, notes), [&] {
    if (before == NO_COMPRESSION) {
      long reserve = 0;
      onVariable(file, variable, CONFIRM_, zVAR_RESERVEPERCENT_, &reserve);
      notes.metPlain = true;
    }
    return putCompression(file, variable, type, parameters);
  });
}

CDFstatus renameVariable(CDFid file, long variable, const std::string& name) {
  return unlessRefused(judgeVariableName(name),
                       [&] { return onVariable(file, variable, PUT_, zVAR_NAME_, name.c_str()); });
}

CDFstatus createAttribute(CDFid file, const std::string& name, long scope, long* attribute) {
  return unlessRefused(judgeAttributeName(name), [&] {
    return onFile(file, CREATE_, ATTR_, name.c_str(), scope, attribute);
  });
}

CDFstatus deleteAttribute(CDFid file, long attribute) {
  long scope = 0;
  if (onAttribute(file, attribute, GET_, ATTR_SCOPE_, &scope) >= 0) {
    makeRoomBehind(file);
  }
  return onAttribute(file, attribute, DELETE_, ATTR_);
}

CDFstatus renameAttribute(CDFid file, long attribute, const std::string& name) {
  return unlessRefused(judgeAttributeName(name), [&] {
    return onAttribute(file, attribute, PUT_, ATTR_NAME_, name.c_str());
  });
}

// In read-only mode the library keeps the attributes in memory. An attribute that was selected
// before is not found there: the next read of a record that was never written, which looks for a
// fill value among the attributes, frees the file and goes on with it. So one is selected anew; a
// file may have none.
CDFstatus setReadOnlyMode(CDFid file, long mode) {
  const CDFstatus status = onFile(file, CDF_READONLY_MODE_, mode);
  onFile(file, ATTR_, 0L);
  return status;
}

// With fewer buffers than the scratch file has blocks of 131072 bytes, the library reads records of
// compressed variables and of those with sparse records wrong, or not at all (-2020, -2108), and
// then answers -2077 for every call on the file. So it keeps all that it has; they take memory as
// they are needed.
CDFstatus setStageCacheSize(CDFid file, long buffers) {
  long& asked = notesOn(file).stageBuffers;
  long present = 0;
  CDFstatus status = onFile(file, CONFIRM_, STAGE_CACHESIZE_, &present);
  if (status >= 0) {
    const bool isLess = buffers > 0 && buffers < present;
    status = onFile(file, STAGE_CACHESIZE_, isLess ? present : buffers);
  }
  if (status >= 0) {
    asked = buffers;
  }
  return status;
}

CDFstatus stageCacheSize(CDFid file, long* buffers) {
  const CDFstatus status = onFile(file, CONFIRM_, STAGE_CACHESIZE_, buffers);
  const long asked = status < 0 ? 0 : notesOn(file).stageBuffers;
  if (asked > 0) {
    *buffers = asked;
  }
  return status;
}

CDFstatus allocateRecords(CDFid file, long variable, long first, long last) {
  long sparse = NO_SPARSERECORDS;
  const CDFstatus status = onVariable(file, variable, GET_, zVAR_SPARSERECORDS_, &sparse);
  const CDFstatus judgement = status < 0 ? status : judgeAllocation(last, sparse);
  return unlessRefused(judgement < 0 ? judgement : judgeRecordsUpTo(file, variable, last), [&] {
    return onVariable(file, variable, PUT_, zVAR_ALLOCATEBLOCK_, first,
                      lastToAllocate(file, variable, last));
  });
}

CDFstatus setBlockingFactor(CDFid file, long variable, long factor) {
  long before = 0;
  const CDFstatus status = onVariable(file, variable, GET_, zVAR_BLOCKINGFACTOR_, &before);
  CDFstatus judgement = status < 0 ? status : judgeBlockingFactor(factor);
  if (judgement >= 0 && notesOn(file).variables[variable].deletedFrom) {
    judgement = judgeFactorAfterDeletes(compressionOf(file, variable), factor);
  }
  return unlessRefused(judgement, [&] { return putBlockingFactor(file, variable, factor); });
}

CDFstatus setSparseRecords(CDFid file, long variable, long sparse) {
  const CDFstatus status = onVariable(file, variable, PUT_, zVAR_SPARSERECORDS_, sparse);
  if (status >= 0) {
    widenBlocks(file, variable);  // Refused while there were sparse records.
  }
  return status;
}

CDFstatus setInitialRecords(CDFid file, long variable, long count) {
  return unlessRefused(judgeRecordsUpTo(file, variable, count - 1),
                       [&] { return onVariable(file, variable, PUT_, zVAR_INITIALRECS_, count); });
}

CDFstatus writeEntry(CDFid file, int kind, long attribute, long entry, const EntryValue& value) {
  return unlessRefused(judgeEntrySize(value.count), [&] {
    return onFile(CDFputAttrEntry, file, kind, attribute, entry, value.datatype,
                  static_cast<long>(value.count), value.data);
  });
}

CDFstatus deleteEntry(CDFid file, int kind, long attribute, long entry) {
  long datatype = 0, count = 0, bytes = 0;
  if (onFile(CDFinquireAttrEntry, file, kind, attribute, entry, &datatype, &count) >= 0 &&
      call(GET_, DATATYPE_SIZE_, datatype, &bytes) >= 0 && leavesRoom(bytes * count)) {
    makeRoomBehind(file);
  }
  return onFile(CDFdeleteAttrEntry, file, kind, attribute, entry);
}

}  // namespace tarvik::cdf
