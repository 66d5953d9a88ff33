#include <algorithm>
#include <cstring>
#include <functional>
#include <iterator>
#include <map>
#include <numeric>
#include <sstream>

#include "faults/library/harness.h"

namespace tarvik::faults {

namespace {

constexpr std::size_t mostBytes = std::size_t{1} << 20;  ///< That one step moves.

struct Variable {
  std::vector<long> sizes;
  std::size_t recordBytes;
  bool varies;
  std::map<long, char> written;  ///< The byte that each record is full of.
};

class Steps {
 public:
  Steps() : room_(mostBytes) {}

  void take(std::istringstream& step) {
    std::string verb, type;
    step >> verb;
    if (verb == "new" || verb == "fixed" || verb == "file") {
      step >> type;
    }
    const std::vector<long> n{std::istream_iterator<long>(step), {}};
    const long x = n.empty() ? 0 : n[0];
    if (verb == "new" || verb == "fixed") {
      add(type, n, verb == "new");
    } else if (verb == "put" || verb == "get") {
      const long count = n.size() > 2 ? n[2] : 1, interval = n.size() > 3 ? n[3] : 1;
      move(verb == "put" ? PUT_ : GET_, x, n[1], count, interval);
    } else if (verb == "value") {
      file_.value(x, PUT_, n[1], filled(sizeof(double)));
    } else if (verb == "delete") {
      cdf::onVariable(file_.id, x, DELETE_, zVAR_RECORDS_, n[1], n[2]);
      at(x).written.clear();
    } else if (verb == "drop") {
      cdf::onVariable(file_.id, x, DELETE_, zVAR_);
      variables_.erase(variables_.begin() + x);
    } else if (verb == "room") {
      cdf::onAttribute(file_.id, file_.attribute("room"), DELETE_, ATTR_);
    } else if (verb == "reopen") {
      file_.close();
      file_.reopen();
    } else if (compressions.count(verb) != 0) {
      file_.compress(x, compressions.at(verb));
    } else {
      set(verb, type, n);
    }
  }

  Seen result() {
    const Seen fate = file_.fate();
    return fate == Seen::nothing && differs() ? Seen::wrongValues : fate;
  }

 private:
  Variable& at(long variable) { return variables_[static_cast<std::size_t>(variable)]; }

  /// Memory of so many bytes, full of a value that is new in each step.
  char* filled(std::size_t bytes) {
    char* const place = room_.last(bytes);
    std::memset(place, ++value_, bytes);
    return place;
  }

  void set(const std::string& verb, const std::string& type, const std::vector<long>& n) {
    CompressionParameters none{};
    if (verb == "sparse") {
      cdf::onVariable(file_.id, n[0], PUT_, zVAR_SPARSERECORDS_, 1L);
    } else if (verb == "block") {
      cdf::onVariable(file_.id, n[0], PUT_, zVAR_BLOCKINGFACTOR_, n[1]);
    } else if (verb == "allocate") {
      cdf::onVariable(file_.id, n[0], PUT_, zVAR_ALLOCATEBLOCK_, n[1], n[2]);
    } else if (verb == "file") {
      file_.on(PUT_, CDF_COMPRESSION_, compressions.at(type), none.data());
    } else if (verb == "checksum") {
      file_.on(PUT_, CDF_CHECKSUM_, MD5_CHECKSUM);
    } else if (verb == "stage") {
      file_.on(STAGE_CACHESIZE_, n[0]);
    }
  }

  void add(const std::string& type, const std::vector<long>& sizes, bool varies) {
    const auto [datatype, valueBytes] = types.at(type);
    const long bytes = std::accumulate(sizes.begin(), sizes.end(), valueBytes, std::multiplies<>());
    file_.variable(datatype, sizes, varies ? VARY : NOVARY, VARY, "x" + std::to_string(named_++));
    variables_.push_back({sizes, static_cast<std::size_t>(bytes), varies, {}});
  }

  /// One record by the record functions, more by a hyperslab.
  void move(long function, long x, long record, long count, long interval) {
    Variable& variable = at(x);
    const std::size_t dimensions = variable.sizes.size();
    char* const data = filled(variable.recordBytes * static_cast<std::size_t>(count));
    if (count > 1) {
      file_.slab(x, function,
                 {record, count, interval, std::vector<long>(dimensions, 0), variable.sizes,
                  std::vector<long>(dimensions, 1)},
                 data);
    } else if (function == PUT_) {
      CDFputVarRecordData(file_.id, zVariable, x, record, data);
    } else {
      CDFgetVarRecordData(file_.id, zVariable, x, record, data);
    }
    if (function == GET_) {
      const auto known = variable.written.find(0);
      wrong_ = wrong_ ||
               (!variable.varies && known != variable.written.end() &&
                data[variable.recordBytes * static_cast<std::size_t>(count) - 1] != known->second);
      return;
    }
    for (long i = 0; i < count; ++i) {
      variable.written[variable.varies ? record + i * interval : 0] = value_;
    }
  }

  bool differs() {
    for (std::size_t x = 0; x < variables_.size(); ++x) {
      for (const auto& [record, value] : variables_[x].written) {
        char* const data = room_.last(variables_[x].recordBytes);
        CDFgetVarRecordData(file_.id, zVariable, static_cast<long>(x), record, data);
        wrong_ = wrong_ || *data != value;
      }
    }
    return wrong_;
  }

  /// The datatype and its bytes.
  inline static const std::map<std::string, std::pair<long, long>> types{
      {"int1", {CDF_INT1, 1}},
      {"int2", {CDF_INT2, 2}},
      {"int4", {CDF_INT4, 4}},
      {"double", {CDF_DOUBLE, 8}}};
  inline static const std::map<std::string, long> compressions{{"gzip", GZIP_COMPRESSION},
                                                               {"rle", RLE_COMPRESSION},
                                                               {"huff", HUFF_COMPRESSION},
                                                               {"plain", NO_COMPRESSION}};

  File file_;
  Guarded room_;
  std::vector<Variable> variables_;
  int named_ = 0;
  char value_ = 60;
  bool wrong_ = false;
};

}  // namespace

Seen follow(const char* steps) {
  Steps file;
  std::istringstream all(steps);
  for (std::string step; std::getline(all, step, ';');) {
    std::istringstream words(step);
    file.take(words);
  }
  return file.result();
}

}  // namespace tarvik::faults
