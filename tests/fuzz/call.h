/// One call of an operation.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tests/fuzz/catalogue.h"
#include "tests/gateway/gateway_test.h"

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
