// library_faults [--list | --json] [NAME...]: which of the known faults the CDF library still has.
#include <algorithm>
#include <iomanip>
#include <iostream>
#include <string_view>

#include "faults/library/harness.h"

namespace {

using tarvik::faults::Fault;
using tarvik::faults::Seen;

/// Some faults depend on what lies in memory.
constexpr int tries = 3;

std::string version() {
  using namespace tarvik;
  long number = 0, release = 0, increment = 0;
  cdf::call(GET_, LIB_VERSION_, &number, LIB_RELEASE_, &release, LIB_INCREMENT_, &increment);
  return std::to_string(number) + "." + std::to_string(release) + "." + std::to_string(increment);
}

std::vector<const Fault*> chosen(const std::vector<std::string_view>& names) {
  using namespace tarvik::faults;
  std::vector<const Fault*> rows;
  for (const std::vector<Fault>* table : {&numberFaults, &nameFaults, &storageFaults}) {
    for (const Fault& row : *table) {
      if (names.empty() || std::find(names.begin(), names.end(), row.name) != names.end()) {
        rows.push_back(&row);
      }
    }
  }
  return rows;
}

void printJson(const std::vector<const Fault*>& rows) {
  std::cout << "{\"version\": \"" << version() << "\", \"faults\": {";
  const char* separator = "";
  for (const Fault* row : rows) {
    std::cout << separator << "\n  \"" << row->name << "\": \"" << nameOf(observe(*row, tries))
              << '"';
    separator = ",";
  }
  std::cout << "\n}}\n";
}

void printTable(const std::vector<const Fault*>& rows) {
  std::cout << "Known faults in CDF library " << version() << ":\n";
  for (const Fault* row : rows) {
    const Seen seen = observe(*row, tries);
    std::cout << std::left << std::setw(34) << row->name;
    if (seen == Seen::nothing) {
      std::cout << nameOf(seen) << std::endl;  // Each row at once: some take seconds.
    } else {
      std::cout << "still there (" << nameOf(seen) << ")" << std::endl;
    }
  }
}

}  // namespace

int main(int count, char** arguments) {
  const std::string_view option = count > 1 ? arguments[1] : "";
  const bool isOption = option == "--list" || option == "--json";
  const std::vector<std::string_view> names(arguments + (isOption ? 2 : 1), arguments + count);
  const std::vector<const Fault*> rows = chosen(names);
  if (rows.empty() || (!names.empty() && rows.size() != names.size())) {
    std::cerr << "usage: library_faults [--list | --json] [NAME...]\n";
    return 2;
  }
  if (option == "--list") {
    for (const Fault* row : rows) {
      std::cout << row->name << ": " << row->trigger << '\n';
    }
  } else if (option == "--json") {
    printJson(rows);
  } else {
    printTable(rows);
  }
  return 0;
}
