// Where values come to lie: what is written through the gateway in each of three ways is looked for
// with the library's own reads, one value at a time, and read back in each way.
#include <algorithm>
#include <cstring>
#include <functional>
#include <numeric>

#include "cdf/library.h"
#include "tests/gateway/datatypes.h"
#include "tests/gateway/gateway_test.h"

namespace {

using Index = std::vector<std::size_t>;

/// A block with strides; the last dimension is that of the records, the others are the user's.
struct Slab {
  Index starts, counts, steps;

  std::size_t size() const {
    return std::accumulate(counts.begin(), counts.end(), std::size_t{1}, std::multiplies<>());
  }
  /// That of the value at a position in storage order, first dimension fastest.
  Index indexAt(std::size_t position) const {
    Index index = starts;
    for (std::size_t i = 0; i < index.size(); ++i) {
      index[i] += position % counts[i] * steps[i];
      position /= counts[i];
    }
    return index;
  }
};

/// Blocks that have these steps and together cover everything.
std::vector<Slab> slabsOf(const Index& extents, const Index& steps) {
  const Slab starts{Index(extents.size(), 0), steps, Index(extents.size(), 1)};
  std::vector<Slab> slabs(starts.size());
  for (std::size_t n = 0; n < slabs.size(); ++n) {
    slabs[n] = {starts.indexAt(n), extents, steps};
    for (std::size_t i = 0; i < extents.size(); ++i) {
      slabs[n].counts[i] = (extents[i] - slabs[n].starts[i] + steps[i] - 1) / steps[i];
    }
  }
  return slabs;
}

/// Without the records.
List dimensionsIn(const Index& list) {
  return {list.begin(), list.end() - 1};
}

enum Way { byValue, byRecord, bySlab };
constexpr Way ways[] = {byValue, byRecord, bySlab};
constexpr const char* putting[] = {"putVarData", "putVarRecordData", "hyperPutVarData"};
constexpr const char* getting[] = {"getVarData", "getVarRecordData", "hyperGetVarData"};

struct Variable {
  const DatatypeRow& type;
  std::size_t length;  ///< Of its strings.
  Index extents;       ///< With the number of records.
  bool rowMajor;
  File file;
  double number;

  bool isText() const { return type.classId == vlCHAR_CLASS; }
  std::size_t hostPerValue() const { return type.hostCount * length; }

  /// What each call takes on one of the ways; all together are everything.
  std::vector<Slab> slabs(Way way) const {
    const Index strides = {2, 3, 2, 1};
    Index steps = extents;
    for (std::size_t i = 0; i + 1 < extents.size() && way != byValue; ++i) {
      steps[i] = way == byRecord ? 1 : strides[i];
    }
    if (way == bySlab) steps.back() = 2;
    return slabsOf(extents, steps);
  }

  /// The bytes that its value has there: none is NUL, which would end a text, and values that lie
  /// close to each other differ.
  std::string valueAt(const Index& index) const {
    std::uint32_t state = 1;
    for (const std::size_t i : index) state = state * 31 + static_cast<std::uint32_t>(i);
    std::string bytes(type.bytes * length, '\0');
    std::generate(bytes.begin(), bytes.end(), [&state] {
      state = state * 1664525 + 1013904223;
      return static_cast<char>(1 + (state >> 16) % 255);
    });
    return bytes;
  }
  std::string valuesIn(const Slab& slab) const {
    std::string bytes;
    for (std::size_t i = 0; i < slab.size(); ++i) bytes += valueAt(slab.indexAt(i));
    return bytes;
  }

  Inputs inputsFor(Way way, const Slab& slab) const {
    Inputs inputs = {file, number, static_cast<double>(slab.starts.back())};
    if (way == bySlab) {
      inputs.emplace_back(static_cast<double>(slab.counts.back()));
      inputs.emplace_back(static_cast<double>(slab.steps.back()));
    }
    if (way != byRecord) inputs.emplace_back(dimensionsIn(slab.starts));
    if (way == bySlab) inputs.emplace_back(dimensionsIn(slab.counts));
    if (way == bySlab) inputs.emplace_back(dimensionsIn(slab.steps));
    return inputs;
  }

  /// The dimensions of what is read; a value of one element needs none of its own, but text has it
  /// in a slab.
  Dims shapeOf(Way way, const Slab& slab) const {
    Dims dims = slab.counts;
    if (way != bySlab) dims.pop_back();
    if (way == byValue) dims.clear();
    if (hostPerValue() != 1 || dims.empty() || (way == bySlab && isText())) {
      dims.insert(dims.begin(), hostPerValue());
    }
    dims.resize(std::max<std::size_t>(dims.size(), 2), 1);
    return dims;
  }

  /// The high byte of a character is one that must be dropped.
  Array hostArray(const std::string& bytes) const {
    const std::size_t count = bytes.size() / type.bytes * type.hostCount;
    if (isText()) {
      std::u16string text;
      for (const char byte : bytes) text += static_cast<char16_t>(0x4100 | (byte & 0xFF));
      return chars({count, 1}, text);
    }
    Array array = newArray(type.classId, {count, 1});
    std::memcpy(vlGetData(array.get()), bytes.data(), bytes.size());
    return array;
  }
};

/// Past the gateway, in the library's own order of dimensions.
std::string inLibrary(const Variable& variable, const Index& at) {
  std::vector<long> index(at.begin(), at.end() - 1);
  if (variable.rowMajor) std::reverse(index.begin(), index.end());
  std::string bytes(variable.type.bytes * variable.length, '\0');
  EXPECT_EQ(tarvik::cdf::onVariable(handleOf(variable.file), static_cast<long>(variable.number),
                                    tarvik::zVAR_RECNUMBER_, static_cast<long>(at.back()),
                                    tarvik::zVAR_DIMINDICES_, index.data(), tarvik::GET_,
                                    tarvik::zVAR_DATA_, bytes.data()),
            0);
  return bytes;
}

class LayoutTest : public GatewayTest {
 protected:
  void tryWay(const Variable& variable, Way written) {
    for (const Slab& slab : variable.slabs(written)) {
      Inputs inputs = variable.inputsFor(written, slab);
      inputs.emplace_back(variable.hostArray(variable.valuesIn(slab)));
      callWith(putting[written], inputs);
    }
    for (const Slab& value : variable.slabs(byValue)) {
      ASSERT_EQ(inLibrary(variable, value.starts), variable.valueAt(value.starts));
    }
    for (const Way way : ways) {
      for (const Slab& slab : variable.slabs(way)) {
        const std::vector<Array> outputs = callWith(getting[way], variable.inputsFor(way, slab));
        const std::string expected = variable.valuesIn(slab);
        ASSERT_EQ(vlGetClassID(outputs.at(0).get()), variable.type.classId) << getting[way];
        ASSERT_EQ(dimsOf(outputs[0]), variable.shapeOf(way, slab)) << getting[way];
        ASSERT_EQ(bytesOf(outputs[0], expected.size()), expected) << getting[way];
      }
    }
  }
};

TEST_F(LayoutTest, EveryDatatypeMajorityAndNumberOfDimensions) {
  for (const bool rowMajor : {true, false}) {
    const File file = create(rowMajor ? "rows" : "columns");
    call("setMajority", file, rowMajor ? 1.0 : 2.0);
    for (const DatatypeRow& type : datatypes) {
      for (std::size_t dims = 0; dims <= 4; ++dims) {
        for (const Way way : ways) {
          const std::string name = type.name + std::to_string(dims) + putting[way];
          SCOPED_TRACE((rowMajor ? "row-major " : "column-major ") + name);
          // One character type has strings of three, the other single characters.
          Variable variable{type, type.code == 51 ? 3U : 1U, {5, 4, 3, 2}, rowMajor, file, 0};
          variable.extents.resize(dims);
          variable.number = createVar(file, name, type.code, static_cast<double>(variable.length),
                                      {variable.extents.begin(), variable.extents.end()});
          variable.extents.push_back(3);
          tryWay(variable, way);
        }
      }
    }
    close(file);
  }
}

}  // namespace
