/// A sequence of calls in one process. In a wild one every operation gets any inputs, and each call
/// must end as the gateway promises: with outputs or an error of the host, and nothing left over. A
/// careful one keeps clear of the library's faults, and what it wrote must be there in the end.
#pragma once

#include <array>
#include <cstdio>
#include <stdexcept>

#include "tests/fuzz/arguments.h"
#include "tests/fuzz/choices.h"
#include "tests/fuzz/model.h"

/// What a run has done so far. It may lie in memory that processes share, so that it outlives the
/// one that crashes.
struct Progress {
  std::uint64_t calls;
  std::uint64_t refused;
  std::uint64_t filesVerified;
  std::uint64_t recordsVerified;
  std::array<std::uint64_t, 96> succeeded;  ///< By the operation's place.
  std::uint64_t sequenceCalls;              ///< Of the sequence that runs.
  std::array<char, 2000> current;           ///< The call that runs, if it is traced.
};

/// Something that must not happen.
class Fault : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The library's statuses by their texts.
const std::map<std::string, long>& statusesByText();

class Session {
 public:
  /// The working folder is where the files are made; it should be empty. Calls are told to `trace`,
  /// which may be null: putting one into words takes longer than making it.
  Session(vlhost::Plugin& gateway, const std::vector<Operation>& catalogue, Choices& choices,
          Progress& progress, std::FILE* trace)
      : gateway_(gateway),
        catalogue_(catalogue),
        choices_(choices),
        progress_(progress),
        trace_(trace) {}

  /// Makes that many calls, fewer if the choices are exhausted, and then closes all files and looks
  /// at them. Raises Fault.
  void run(std::uint64_t calls);

 private:
  const Operation& operation(const std::string& name) const;
  const Operation& chooseOperation();
  /// The outputs; none if the call failed.
  std::optional<std::vector<Array>> make(const Call& call);
  template <typename... Inputs>
  std::optional<std::vector<Array>> make(const std::string& name, Inputs... inputs) {
    Call call{&operation(name), {}};
    (call.inputs.push_back(std::move(inputs)), ...);
    return make(call);
  }
  /// The first output of a call that must succeed.
  template <typename... Inputs>
  Array ask(const std::string& name, Inputs... inputs) {
    std::optional<std::vector<Array>> outputs = make(name, std::move(inputs)...);
    expect(outputs.has_value(), name + " failed");
    return std::move(outputs->at(0));
  }
  void failed(const Call& call, const vlhost::Error& error);
  void expect(bool condition, const std::string& what) const;
  void readBack(Call call);
  void verify(std::uint64_t handle);
  void finish();

  vlhost::Plugin& gateway_;
  const std::vector<Operation>& catalogue_;
  Choices& choices_;
  Progress& progress_;
  std::FILE* trace_;
  Model model_{choices_.oneIn(3)};
  Arguments arguments_{choices_, model_};
};
