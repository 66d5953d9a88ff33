#include <fstream>
#include <regex>

#include "tests/fuzz/call.h"

namespace {

/// Of a file, whose tables begin with "[name]" and have a line `inputs = ["name: kind", ...]`
/// unless there are none.
std::vector<Operation> operationsIn(const std::filesystem::path& path) {
  static const std::regex table(R"(\[(\w+)\])"), input(R"re("(\w+)(\??): (\w+)")re");
  std::vector<Operation> operations;
  std::ifstream file(path);
  std::smatch match;
  for (std::string line; std::getline(file, line);) {
    if (std::regex_match(line, match, table)) operations.push_back({match[1], {}});
    if (line.rfind("inputs = ", 0) != 0) continue;
    for (std::sregex_iterator i(line.begin(), line.end(), input), end; i != end; ++i) {
      operations.back().inputs.push_back({(*i)[1], (*i)[3], (*i)[2].length() != 0});
    }
  }
  return operations;
}

}  // namespace

std::vector<Operation> readCatalogue(const std::filesystem::path& folder, bool extended) {
  std::vector<Operation> all;
  for (const char* topic : {"files", "library", "attributes", "epochs", "storage", "variables",
                            "variable_settings", "extended"}) {
    if (topic == std::string("extended") && !extended) continue;
    for (Operation& operation : operationsIn(folder / (topic + std::string(".toml")))) {
      all.push_back(std::move(operation));
    }
  }
  return all;
}
