/// Inputs for the operations of the catalogue: mostly such as a user would give, now and then
/// anything but.
#pragma once

#include "tests/fuzz/choices.h"
#include "tests/fuzz/model.h"

class Arguments {
 public:
  Arguments(Choices& choices, const Model& model) : choices_(choices), model_(model) {}

  /// A call of the operation.
  Call callOf(const Operation& operation);

 private:
  /// What the inputs of one call have in common.
  struct Subject {
    const FileModel* file = nullptr;
    const VariableModel* variable = nullptr;
    double datatype = 0;
    std::vector<double> indices, counts;
    std::size_t recordCount = 1;
    std::size_t numDims = 0;
  };

  bool is(const char* part) const { return operation_->name.find(part) != std::string::npos; }
  std::size_t upTo(std::size_t most) { return 1 + choices_.below(most); }

  Array fitting(const Parameter& parameter);
  Array identifier();
  std::size_t number(const std::string& name);
  Array list(const std::string& name);
  Array variances(std::size_t count);
  Array values();
  std::size_t elementsExpected() const;
  Array components(const std::string& kind);
  /// An input that few operations accept.
  Array wild(const Parameter& parameter);
  Array wildIdentifier();
  Array wildText(bool isPath);
  double extreme();

  Choices& choices_;
  const Model& model_;
  const Operation* operation_ = nullptr;
  Subject subject_;
};
