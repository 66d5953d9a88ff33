/// The operations and their inputs as gateway/catalogue/ has them, and calls of them.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "tests/gateway/gateway_test.h"

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

/// An operation with its inputs, some of which may be nonsense.
struct Call {
  const Operation* operation;
  std::vector<Array> inputs;

  const std::string& name() const { return operation->name; }
  /// The input of that name; null where the operation has none or it was left out.
  const Array* input(const std::string& name) const;
  /// An input that the gateway takes as a whole number.
  std::optional<long> number(const std::string& name) const;
  std::vector<long> list(const std::string& name) const;
  std::string text(const std::string& name) const;
  /// The value of the file identifier, 0 where there is none.
  std::uint64_t handle() const;
};

/// The call as a line for people.
std::string shown(const Call& call);
