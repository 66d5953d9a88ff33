#include "tests/fuzz/call.h"

#include <cmath>

const Array* Call::input(const std::string& name) const {
  for (std::size_t i = 0; i < inputs.size() && i < operation->inputs.size(); ++i) {
    if (operation->inputs[i].name == name) return &inputs[i];
  }
  return nullptr;
}

std::vector<long> Call::list(const std::string& name) const {
  std::vector<long> numbers;
  const Array* array = input(name);
  if (array == nullptr || vlGetClassID(array->get()) != vlDOUBLE_CLASS) return numbers;
  for (const double element : valuesOf<double>(*array)) {
    if (!(std::abs(element) < 4294967296.0)) return {};
    numbers.push_back(static_cast<long>(element));
  }
  return numbers;
}

std::optional<long> Call::number(const std::string& name) const {
  const std::vector<long> numbers = list(name);
  return numbers.size() == 1 ? std::optional(numbers[0]) : std::nullopt;
}

std::string Call::text(const std::string& name) const {
  const Array* array = input(name);
  return array != nullptr && vlGetClassID(array->get()) == vlCHAR_CLASS ? textOf(*array) : "";
}

std::uint64_t Call::handle() const {
  const Array* array = input("file");
  if (array == nullptr || vlGetClassID(array->get()) != vlUINT64_CLASS) return 0;
  const std::vector<std::uint64_t> values = valuesOf<std::uint64_t>(*array);
  return values.size() == 1 ? values[0] : 0;
}

std::string shown(const Call& call) {
  constexpr std::size_t most = 120;
  std::string line = call.name();
  for (const Array& input : call.inputs) {
    const std::size_t count = vlGetNumberOfElements(input.get());
    const bool isLong = vlGetClassID(input.get()) == vlCELL_CLASS || count > most;
    line += " | " + (isLong ? std::to_string(count) + " of " + vlGetClassName(input.get())
                            : shown(input.get()).substr(0, most));
  }
  return line;
}
