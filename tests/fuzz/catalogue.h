/// The operations and their inputs as gateway/catalogue/ has them.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

struct Parameter {
  std::string name;
  std::string kind;
  bool optional;
};

struct Operation {
  std::string name;
  std::vector<Parameter> inputs;
};

/// All operations, those of the extended plug-in last and only if asked for.
std::vector<Operation> readCatalogue(const std::filesystem::path& folder, bool extended);
