// Where values come to lie: what is written through the gateway is looked for with the library's
// own reads, one value at a time at the position that the test computes, and read back in every
// way.
#include <algorithm>
#include <cstring>
#include <functional>
#include <numeric>

#include "cdf/call.h"
#include "tests/gateway/datatypes.h"
#include "tests/gateway/gateway_test.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using Index = std::vector<std::size_t>;

std::size_t productOf(const Index& sizes) {
  return std::accumulate(sizes.begin(), sizes.end(), std::size_t{1}, std::multiplies<>());
}

/// The index of a position in storage order, first dimension fastest.
Index indexAt(std::size_t position, const Index& sizes) {
  Index index;
  for (const std::size_t size : sizes) {
    index.push_back(position % size);
    position /= size;
  }
  return index;
}

std::size_t positionOf(const Index& index, const Index& sizes) {
  std::size_t position = 0;
  for (std::size_t i = sizes.size(); i-- > 0;) {
    position = position * sizes[i] + index[i];
  }
  return position;
}

List doubles(const Index& values) {
  return {values.begin(), values.end()};
}

/// A block of records and dimensions with strides, in the user's order of dimensions. One value and
/// one record are such blocks too.
struct Slab {
  std::size_t recordStart, recordCount, recordInterval;
  Index starts, counts, intervals;

  std::size_t size() const { return recordCount * productOf(counts); }
};

/// A variable and its values: records of bytes, the user's first dimension fastest.
struct Model {
  const DatatypeRow& type;
  std::size_t numElements;
  Index extents;
  File file;
  double number;
  std::vector<Bytes> records;

  bool isText() const { return type.classId == vlCHAR_CLASS; }
  std::size_t bytesPerValue() const { return type.bytes * numElements; }
  std::size_t hostPerValue() const { return type.hostCount * numElements; }

  Slab value(std::size_t record, const Index& index) const {
    const Index ones(extents.size(), 1);
    return {record, 1, 1, index, ones, ones};
  }
  Slab wholeRecord(std::size_t record) const {
    return {record, 1, 1, Index(extents.size(), 0), extents, Index(extents.size(), 1)};
  }

  /// The bytes of the value at a position of the slab's storage order, records last.
  std::uint8_t* at(const Slab& slab, std::size_t position) {
    const std::size_t perRecord = productOf(slab.counts);
    Index index = indexAt(position % perRecord, slab.counts);
    for (std::size_t i = 0; i < index.size(); ++i) {
      index[i] = slab.starts[i] + index[i] * slab.intervals[i];
    }
    Bytes& record = records[slab.recordStart + position / perRecord * slab.recordInterval];
    return record.data() + positionOf(index, extents) * bytesPerValue();
  }

  /// The dimensions of an array that is read; a value of one element needs none of its own.
  Dims shape(Dims sizes, bool textKeepsOne) const {
    if (hostPerValue() != 1 || sizes.empty() || (textKeepsOne && isText())) {
      sizes.insert(sizes.begin(), hostPerValue());
    }
    sizes.resize(std::max<std::size_t>(sizes.size(), 2), 1);
    return sizes;
  }
};

/// No byte is NUL, which would end a text, and values that lie close to each other differ.
Bytes newBytes(std::size_t count) {
  static std::uint32_t state = 1;
  Bytes bytes(count);
  std::generate(bytes.begin(), bytes.end(), [] {
    state = state * 1664525 + 1013904223;
    return static_cast<std::uint8_t>(1 + (state >> 16) % 255);
  });
  return bytes;
}

/// The high byte of a character is one that must be dropped.
Array hostArray(const Model& model, const Bytes& bytes) {
  const std::size_t count = bytes.size() / model.type.bytes * model.type.hostCount;
  if (model.isText()) {
    std::u16string text(bytes.begin(), bytes.end());
    std::for_each(text.begin(), text.end(), [](char16_t& unit) { unit |= u'\x4100'; });
    return chars({count, 1}, text);
  }
  Array array = newArray(model.type.classId, {count, 1});
  std::memcpy(vlGetData(array.get()), bytes.data(), bytes.size());
  return array;
}

/// Characters have been widened as signed bytes.
Bytes bytesIn(const Model& model, const Array& array) {
  const std::size_t count = vlGetNumberOfElements(array.get());
  EXPECT_EQ(vlGetClassID(array.get()), model.type.classId);
  if (model.isText()) {
    const auto* units = static_cast<const vlChar*>(vlGetData(array.get()));
    EXPECT_TRUE(std::all_of(units, units + count, [](vlChar unit) {
      return unit == static_cast<vlChar>(static_cast<std::int8_t>(unit));
    }));
  }
  const std::string bytes = bytesOf(array, count * model.type.bytes / model.type.hostCount);
  return {bytes.begin(), bytes.end()};
}

class LayoutTest : public GatewayTest {
 protected:
  static Inputs slabInputs(const Model& model, const Slab& slab) {
    return {model.file,
            model.number,
            static_cast<double>(slab.recordStart),
            static_cast<double>(slab.recordCount),
            static_cast<double>(slab.recordInterval),
            doubles(slab.starts),
            doubles(slab.counts),
            doubles(slab.intervals)};
  }
  /// Without an index for a whole record.
  static Inputs inputsAt(const Model& model, const Slab& slab, bool index) {
    Inputs inputs = {model.file, model.number, static_cast<double>(slab.recordStart)};
    if (index) inputs.emplace_back(doubles(slab.starts));
    return inputs;
  }

  void write(Model& model, const Slab& slab, const std::string& operation, Inputs inputs) {
    const std::size_t size = model.bytesPerValue();
    const Bytes bytes = newBytes(slab.size() * size);
    for (std::size_t i = 0; i < slab.size(); ++i) {
      std::copy_n(bytes.data() + i * size, size, model.at(slab, i));
    }
    inputs.emplace_back(hostArray(model, bytes));
    callWith(operation, inputs);
  }

  void expectRead(Model& model, const Slab& slab, const std::string& operation,
                  const Inputs& inputs, const Dims& shape) {
    const std::vector<Array> outputs = callWith(operation, inputs);
    EXPECT_EQ(dimsOf(outputs.at(0)), shape) << operation;
    const Bytes bytes = bytesIn(model, outputs[0]);
    const std::size_t size = model.bytesPerValue();
    ASSERT_EQ(bytes.size(), slab.size() * size) << operation;
    for (std::size_t i = 0; i < slab.size(); ++i) {
      ASSERT_EQ(std::memcmp(bytes.data() + i * size, model.at(slab, i), size), 0)
          << operation << ", value " << i;
    }
  }

  /// Past the gateway, in the library's own order of dimensions.
  static void expectInLibrary(Model& model, const Slab& value, bool rowMajor) {
    std::vector<long> index(value.starts.begin(), value.starts.end());
    if (rowMajor) std::reverse(index.begin(), index.end());
    Bytes seen(model.bytesPerValue());
    ASSERT_EQ(tarvik::cdf::onVariable(handleOf(model.file), static_cast<long>(model.number),
                                      tarvik::zVAR_RECNUMBER_, static_cast<long>(value.recordStart),
                                      tarvik::zVAR_DIMINDICES_, index.data(), tarvik::GET_,
                                      tarvik::zVAR_DATA_, seen.data()),
              0);
    ASSERT_EQ(std::memcmp(seen.data(), model.at(value, 0), seen.size()), 0);
  }

  void tryAll(Model& model, const Slab& part, bool rowMajor) {
    const std::size_t perRecord = productOf(model.extents);
    Slab whole = model.wholeRecord(2);
    whole.recordCount = 3;
    write(model, model.wholeRecord(0), "putVarRecordData",
          inputsAt(model, model.wholeRecord(0), false));
    for (std::size_t i = 0; i < perRecord; ++i) {
      const Slab value = model.value(1, indexAt(i, model.extents));
      write(model, value, "putVarData", inputsAt(model, value, true));
    }
    write(model, whole, "hyperPutVarData", slabInputs(model, whole));
    write(model, part, "hyperPutVarData", slabInputs(model, part));

    for (std::size_t record = 0; record < model.records.size(); ++record) {
      for (std::size_t i = 0; i < perRecord; ++i) {
        const Slab value = model.value(record, indexAt(i, model.extents));
        expectInLibrary(model, value, rowMajor);
        expectRead(model, value, "getVarData", inputsAt(model, value, true),
                   {model.hostPerValue(), 1});
      }
      const Slab all = model.wholeRecord(record);
      expectRead(model, all, "getVarRecordData", inputsAt(model, all, false),
                 model.shape(model.extents, false));
    }
    for (const Slab& slab : {whole, part}) {
      Dims sizes = slab.counts;
      sizes.push_back(slab.recordCount);
      expectRead(model, slab, "hyperGetVarData", slabInputs(model, slab), model.shape(sizes, true));
    }
  }
};

TEST_F(LayoutTest, EveryDatatypeMajorityAndNumberOfDimensions) {
  const Index extents = {5, 4, 3, 2};
  const Slab stride = {0, 3, 2, {0, 1, 0, 1}, {3, 2, 2, 1}, {2, 2, 2, 1}};
  for (const bool rowMajor : {true, false}) {
    const File file = create(rowMajor ? "rows" : "columns");
    call("setMajority", file, rowMajor ? 1.0 : 2.0);
    for (const DatatypeRow& type : datatypes) {
      for (std::size_t dims = 0; dims <= extents.size(); ++dims) {
        const std::string name = type.name + std::to_string(dims);
        SCOPED_TRACE((rowMajor ? "row-major " : "column-major ") + name);
        // One character type has strings of three, the other single characters.
        Model model{type, type.code == 51 ? 3U : 1U, extents, file, 0, {}};
        model.extents.resize(dims);
        model.records.resize(5, Bytes(productOf(model.extents) * model.bytesPerValue()));
        model.number = createVar(file, name, type.code, static_cast<double>(model.numElements),
                                 doubles(model.extents));
        Slab part = stride;
        for (Index* list : {&part.starts, &part.counts, &part.intervals}) list->resize(dims);
        tryAll(model, part, rowMajor);
      }
    }
    close(file);
  }
}

}  // namespace
