// Reading and writing records and hyperslabs, from one value to hundreds of megabytes.
#include <cstring>
#include <numeric>

#include "bench/pairs.h"
#include "bench/session.h"
#include "bench/works.h"

namespace bench {

namespace {

using namespace tarvik;  // The names of the library's items.

constexpr long recordBytes = 8192;  ///< Of the variables that hyperslabs are read from.
constexpr long megabyte = 1024000;  ///< A whole number of records.

struct Type {
  const char* name;
  long code;
  long numElements;
  long bytes;  ///< Of one value in the file.
  vlClassID classId;
  long units;  ///< Host elements in one value.
};

constexpr Type real8{"double", 45, 1, 8, vlDOUBLE_CLASS, 1};
constexpr Type epoch16{"epoch16", 32, 1, 16, vlDOUBLE_CLASS, 2};
constexpr Type characters{"text", 51, 16, 16, vlCHAR_CLASS, 16};

struct Compression {
  const char* name;
  long kind;
  long level;
};

constexpr Compression none{"", 0, 0};
constexpr Compression compressions[] = {
    {"rle", 1, 0}, {"huff", 2, 0}, {"ahuff", 3, 0}, {"gzip6", 5, 6}};

/// One variable in a file of its own, its values written, with an array and bytes for transfers.
struct Data {
  Type type;
  bool isSlab;  ///< Many records, all moved by one hyperslab, or one record.
  long bytes;   ///< Moved by one call.
  long majority;
  Compression compression;

  long values() const { return std::max(1L, bytes / type.bytes); }
  /// Of one record.
  std::vector<long> extents() const {
    const long perRecord = (isSlab ? std::min(bytes, recordBytes) : bytes) / type.bytes;
    if (perRecord < 32) return {perRecord};
    return {32, perRecord / 32};
  }
  long records() const {
    const std::vector<long> sizes = extents();
    return values() / std::accumulate(sizes.begin(), sizes.end(), 1L, std::multiplies<>());
  }
};

class Bulk {
 public:
  explicit Bulk(const Data& data)
      : data_(data),
        file_("bulk"),
        extents_(data.extents()),
        zeros_(extents_.size()),
        ones_(extents_.size(), 1),
        values_(filled(data.type.classId, {hostUnits(), 1})),
        bytes_(byteCount()) {
    must(cdf::onFile(file_.handle(), PUT_, CDF_MAJORITY_, data.majority));
    variable_ =
        createVariable(file_.handle(), "v", {data.type.code, data.type.numElements, extents_});
    if (data.compression.kind != 0) compress();
    std::memset(bytes_.data(), 'x', bytes_.size());
    if (data.type.classId != vlCHAR_CLASS) {
      std::memcpy(bytes_.data(), vlGetData(values_.get()), bytes_.size());
    }
    direct(PUT_, bytes_.data());
    for (const double value : {0.0, static_cast<double>(data.records()), 1.0}) {
      slab_.push_back(number(value));
    }
    std::vector<double> counts(extents_.begin(), extents_.end());
    if (data.majority == ROW_MAJOR) std::reverse(counts.begin(), counts.end());
    const std::vector<double> zeros(counts.size(), 0), ones(counts.size(), 1);
    for (const auto& values : {zeros, counts, ones}) slab_.push_back(list(values));
  }

  void readByGateway() const { call(data_.isSlab ? slabRead_ : recordRead_, nullptr); }
  void writeByGateway() const { call(data_.isSlab ? slabWrite_ : recordWrite_, values_.get()); }

  void readFresh() const {
    inquire(true);
    if (data_.type.classId == vlCHAR_CLASS) {
      void* block = vlMalloc(byteCount());
      direct(GET_, block);
      vlFree(block);
      return;
    }
    const Array fresh = unfilled(data_.type.classId, {hostUnits(), 1});
    direct(GET_, vlGetData(fresh.get()));
  }
  void readWarm() {
    inquire(true);
    direct(GET_, bytes_.data());
  }
  void writeDirectly() {
    inquire(data_.isSlab);  // The gateway does not ask for the majority where it has no list.
    direct(PUT_, bytes_.data());
  }

 private:
  std::size_t byteCount() const {
    return static_cast<std::size_t>(data_.values() * data_.type.bytes);
  }
  std::size_t hostUnits() const {
    return static_cast<std::size_t>(data_.values() * data_.type.units);
  }
  void compress() const {
    long level[CDF_MAX_PARMS] = {data_.compression.level};
    must(cdf::onVariable(file_.handle(), variable_, PUT_, zVAR_COMPRESSION_, data_.compression.kind,
                         level));
  }
  void inquire(bool majority) const {
    inquireVariable(file_.handle(), variable_);
    if (majority) inquireMajority(file_.handle());
  }
  void call(const Call& operation, const vlArray* values) const {
    std::vector<const vlArray*> inputs = {file_.id(), number_.get()};
    if (data_.isSlab) {
      for (const Array& input : slab_) inputs.push_back(input.get());
    } else {
      inputs.push_back(slab_[0].get());
    }
    if (values != nullptr) inputs.push_back(values);
    operation(inputs);
  }
  /// `function` is GET_ or PUT_.
  void direct(long function, void* values) const {
    if (data_.isSlab) {
      must(cdf::onVariable(file_.handle(), variable_, zVAR_RECNUMBER_, 0L, zVAR_RECCOUNT_,
                           data_.records(), zVAR_RECINTERVAL_, 1L, zVAR_DIMINDICES_, zeros_.data(),
                           zVAR_DIMCOUNTS_, extents_.data(), zVAR_DIMINTERVALS_, ones_.data(),
                           function, zVAR_HYPERDATA_, values));
    } else {
      must(function == GET_ ? CDFgetVarRecordData(file_.handle(), 1, variable_, 0, values)
                            : CDFputVarRecordData(file_.handle(), 1, variable_, 0, values));
    }
  }

  Data data_;
  File file_;
  std::vector<long> extents_, zeros_, ones_;
  Array values_;             ///< As the host holds them,
  std::vector<char> bytes_;  ///< and as the library does.
  long variable_ = 0;
  Array number_ = number(0);
  std::vector<Array> slab_;
  Call slabRead_{"hyperGetVarData"}, recordRead_{"getVarRecordData"};
  Call slabWrite_{"hyperPutVarData"}, recordWrite_{"putVarRecordData"};
};

std::string sizeName(long bytes) {
  if (bytes >= 1000000) return std::to_string(bytes / 1000000) + "MB";
  return bytes >= 1024 ? std::to_string(bytes / 1024) + "KiB" : std::to_string(bytes) + "B";
}

void addRead(const std::string& name, const Data& data, long calls, long turns) {
  add({name, calls, turns, static_cast<double>(data.bytes), 1, [data] {
         const auto bulk = std::make_shared<Bulk>(data);
         return std::vector<Way>{{"gateway", [bulk] { bulk->readByGateway(); }},
                                 {"library", [bulk] { bulk->readFresh(); }},
                                 {"warm", [bulk] { bulk->readWarm(); }}};
       }});
}

void addWrite(const std::string& name, const Data& data, long calls, long turns) {
  add({name, calls, turns, static_cast<double>(data.bytes), 1, [data] {
         const auto bulk = std::make_shared<Bulk>(data);
         return std::vector<Way>{{"gateway", [bulk] { bulk->writeByGateway(); }},
                                 {"library", [bulk] { bulk->writeDirectly(); }}};
       }});
}

void addBoth(const Data& data, long calls, long turns) {
  const std::string what =
      std::string(data.isSlab ? "hyper/" : "record/") + data.type.name +
      (data.majority == ROW_MAJOR ? "/row/" : "/column/") +
      (data.compression.kind == 0 ? "" : data.compression.name + std::string("/")) +
      sizeName(data.bytes);
  addRead("read/" + what, data, calls, turns);
  addWrite("write/" + what, data, calls, turns);
}

}  // namespace

void addBulk() {
  const struct {
    long bytes, calls, turns;
  } sizes[] = {{16, 2000, 15},
               {8192, 1000, 15},
               {megabyte, 20, 15},
               {80 * megabyte, 1, 9},
               {400 * megabyte, 1, 5}};
  for (const auto& size : sizes) {
    if (trial() && size.bytes > 8192) continue;
    for (const Type& type : {real8, epoch16, characters}) {
      for (const bool isSlab : {true, false}) {
        for (const long majority : {ROW_MAJOR, COLUMN_MAJOR}) {
          // The largest once for each type, since the majority changes nothing in the transfer.
          if (size.bytes > 100 * megabyte && (majority == COLUMN_MAJOR || !isSlab)) continue;
          addBoth({type, isSlab, size.bytes, majority, none}, size.calls, size.turns);
        }
      }
    }
  }
  for (const Compression& compression : compressions) {
    for (const Type& type : {real8, characters}) {
      addBoth({type, true, trial() ? 8192 : 4 * megabyte, ROW_MAJOR, compression}, 1, 5);
    }
  }
}

}  // namespace bench
