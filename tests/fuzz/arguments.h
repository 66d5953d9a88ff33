/// Inputs for the operations of the catalogue: mostly such as a user would give, now and then
/// anything but.
#pragma once

#include "tests/fuzz/choices.h"
#include "tests/fuzz/model.h"

class Arguments {
 public:
  Arguments(Choices& choices, Model& model) : choices_(choices), model_(model) {}

  /// A call of the operation.
  Call callOf(const Operation& operation);

 private:
  Array fitting(const Parameter& parameter);
  std::size_t attributeNumber();
  Array number(const std::string& name);
  Array list(const std::string& name);
  Array variances(std::size_t count);
  Array identifier();
  Array name(const std::string& operation);
  Array values();
  Array components(const std::string& kind);
  Array wild(const Parameter& parameter);
  Array wildIdentifier();
  Array wildText(bool isPath);
  /// A number that few operations expect; the largest are rare, since the library works long on
  /// some.
  double extreme();
  std::size_t elementsExpected() const;
  std::size_t upTo(std::size_t most) { return 1 + choices_.below(most); }

  Choices& choices_;
  Model& model_;

  // What the inputs of the call being made have in common.
  const Operation* operation_ = nullptr;
  const FileModel* file_ = nullptr;
  const VariableModel* variable_ = nullptr;
  const AttributeModel* attribute_ = nullptr;
  double datatype_ = 0;
  std::size_t numElements_ = 1;
  std::vector<double> indices_, counts_;
  std::size_t recordCount_ = 1;
  std::size_t numDims_ = 0;
};
