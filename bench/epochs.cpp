// Epochs from and to calendar components. The library's own loop makes its result in an array of
// the host, as the gateway does.
#include "bench/pairs.h"
#include "bench/session.h"
#include "bench/works.h"

namespace bench {

namespace {

constexpr std::size_t componentCount = 7, component16Count = 10;

/// Times of 2001 to 2025, one a second and more apart.
Array components(std::size_t rows, std::size_t count) {
  Array made = filled(vlDOUBLE_CLASS, {rows, count});
  auto* value = static_cast<double*>(vlGetData(made.get()));
  for (std::size_t i = 0; i < count; ++i, value += rows) {
    const std::size_t fields[] = {2001 + i % 25, 1 + i % 12, 1 + i % 28, i % 24,  i % 60,
                                  (i / 60) % 60, i % 1000,   i % 999,    i % 998, i % 997};
    for (std::size_t row = 0; row < rows; ++row) value[row] = static_cast<double>(fields[row]);
  }
  return made;
}

Array epochArray(std::size_t rows, std::size_t count) {
  return Array(vlCreateNumericMatrix(rows, count, vlDOUBLE_CLASS, vlREAL));
}

double* writable(const Array& array) {
  return static_cast<double*>(vlGetData(array.get()));
}

long whole(double value) {
  return static_cast<long>(value);
}

void computeAll(const double* c, double* epoch, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i, c += componentCount) {
    *epoch++ = computeEPOCH(whole(c[0]), whole(c[1]), whole(c[2]), whole(c[3]), whole(c[4]),
                            whole(c[5]), whole(c[6]));
  }
}

void compute16All(const double* c, double* epoch, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i, c += component16Count, epoch += 2) {
    computeEPOCH16(whole(c[0]), whole(c[1]), whole(c[2]), whole(c[3]), whole(c[4]), whole(c[5]),
                   whole(c[6]), whole(c[7]), whole(c[8]), whole(c[9]), epoch);
  }
}

void breakDownAll(const double* epochs, double* column, std::size_t count) {
  long c[componentCount];
  for (std::size_t i = 0; i < count; ++i, column += componentCount) {
    EPOCHbreakdown(epochs[i], &c[0], &c[1], &c[2], &c[3], &c[4], &c[5], &c[6]);
    for (std::size_t k = 0; k < componentCount; ++k) column[k] = static_cast<double>(c[k]);
  }
}

void breakDown16All(const double* epochs, double* column, std::size_t count) {
  long c[component16Count];
  for (std::size_t i = 0; i < count; ++i, column += component16Count) {
    double pair[] = {epochs[2 * i], epochs[2 * i + 1]};
    EPOCH16breakdown(pair, &c[0], &c[1], &c[2], &c[3], &c[4], &c[5], &c[6], &c[7], &c[8], &c[9]);
    for (std::size_t k = 0; k < component16Count; ++k) column[k] = static_cast<double>(c[k]);
  }
}

using Loop = void(const double* from, double* to, std::size_t count);

/// One operation: its loop over the library's function, doubles a value in and out.
struct Conversion {
  const char* operation;
  Loop* loop;
  std::size_t in, out;
  const char* inputs;  ///< The operation that makes its inputs of components, or null.
};

constexpr Conversion conversions[] = {
    {"computeEpoch", computeAll, componentCount, 1, nullptr},
    {"epochBreakdown", breakDownAll, 1, componentCount, "computeEpoch"},
    {"computeEpoch16", compute16All, component16Count, 2, nullptr},
    {"epoch16Breakdown", breakDown16All, 2, component16Count, "computeEpoch16"},
};

Array inputsOf(const Conversion& conversion, std::size_t count) {
  if (conversion.inputs == nullptr) return components(conversion.in, count);
  const Array made = components(conversion.out, count);
  return Call(conversion.inputs)({made.get()});
}

void addConversion(const Conversion& conversion, std::size_t count, long calls, long turns) {
  add({"epochs/" + std::string(conversion.operation) + "/" + std::to_string(count), calls, turns, 0,
       static_cast<double>(count), [=] {
         const std::shared_ptr<vlArray> input = inputsOf(conversion, count);
         const auto* values = static_cast<const double*>(vlGetData(input.get()));
         return std::vector<Way>{
             {"gateway", [input, call = Call(conversion.operation)] { call({input.get()}); }},
             {"library", [=, owner = input] {
                const Array made = epochArray(conversion.out, count);
                conversion.loop(values, writable(made), count);
              }}};
       }});
}

}  // namespace

void addEpochs() {
  const struct {
    std::size_t count;
    long calls, turns;
  } sizes[] = {{1000, 20, 15}, {1000000, 1, 9}, {10000000, 1, 2}};
  for (const auto& size : sizes) {
    if (trial() && size.count > 1000) break;
    for (const Conversion& conversion : conversions) {
      // The largest is there for the growth: one way and back is enough.
      if (size.count > 1000000 && conversion.in == component16Count) break;
      addConversion(conversion, size.count, size.calls, size.turns);
    }
  }
}

}  // namespace bench
