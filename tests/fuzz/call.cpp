#include "tests/fuzz/call.h"

#include <algorithm>
#include <cmath>

const vlArray* Call::input(const std::string& name) const {
  for (std::size_t i = 0; i < inputs.size() && i < operation->inputs.size(); ++i) {
    if (operation->inputs[i].name == name) return inputs[i].get();
  }
  return nullptr;
}

std::vector<long> Call::list(const std::string& name) const {
  const vlArray* array = input(name);
  if (array == nullptr || vlGetClassID(array) != vlDOUBLE_CLASS) return {};
  const auto* elements = static_cast<const double*>(vlGetData(array));
  std::vector<long> numbers;
  for (std::size_t i = 0; i < vlGetNumberOfElements(array); ++i) {
    if (!(std::abs(elements[i]) < 4294967296.0)) return {};
    numbers.push_back(static_cast<long>(elements[i]));
  }
  return numbers;
}

std::optional<long> Call::number(const std::string& name) const {
  const std::vector<long> numbers = list(name);
  return numbers.size() == 1 ? std::optional(numbers[0]) : std::nullopt;
}

std::string Call::text(const std::string& name) const {
  const vlArray* array = input(name);
  if (array == nullptr || vlGetClassID(array) != vlCHAR_CLASS) return {};
  const auto* units = static_cast<const vlChar*>(vlGetData(array));
  std::string result;
  std::transform(units, units + vlGetNumberOfElements(array), std::back_inserter(result),
                 [](vlChar unit) { return static_cast<char>(unit); });
  return result;
}

std::uint64_t Call::handle() const {
  const vlArray* array = input("file");
  const bool isHandle = array != nullptr && vlGetClassID(array) == vlUINT64_CLASS &&
                        vlGetNumberOfElements(array) == 1;
  return isHandle ? *static_cast<const std::uint64_t*>(vlGetData(array)) : 0;
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
