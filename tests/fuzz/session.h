/// A sequence of calls in one process, each held against what a model of the files expects.
#pragma once

#include <array>
#include <atomic>
#include <stdexcept>

#include "tests/fuzz/arguments.h"
#include "tests/fuzz/choices.h"
#include "tests/fuzz/model.h"

/// What a run has done so far. It may lie in memory that processes share, so that it outlives the
/// one that crashes.
struct Progress {
  static constexpr std::size_t mostOperations = 96, mostStatuses = 2400;

  std::uint64_t calls;
  std::uint64_t refusedByGateway;
  std::uint64_t outOfMemory;
  std::uint64_t filesVerified;
  std::uint64_t recordsVerified;
  std::uint64_t filesLost;  ///< To limits of disk or memory, or to what is known to lose them.
  std::uint64_t tooLong;    ///< Sequences that were ended at a call which asks for too much.
  std::array<std::uint64_t, mostOperations> succeeded;  ///< By the operation's place.
  std::array<std::uint64_t, mostOperations> refused;
  std::array<std::uint64_t, mostStatuses> statuses;  ///< By the status without its sign.
  std::uint64_t sequenceCalls;                       ///< Of the sequence that runs.
  bool strained;                                     ///< Whether the call asks for too much.
  std::array<char, 2000> current;                    ///< The call that runs, if it is told.
};

/// Something that must not happen.
class Fault : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The library's statuses by their texts.
const std::map<std::string, long>& statusesByText();

/// What is told of calls: putting one into words takes longer than making it.
enum class Words { none, ofTheCurrentCall, ofAll };

class Session {
 public:
  /// The working folder is where the files are made; it should be empty.
  Session(vlhost::Plugin& gateway, const std::vector<Operation>& catalogue, Choices& choices,
          Progress& progress, Words words)
      : gateway_(gateway),
        catalogue_(catalogue),
        choices_(choices),
        progress_(progress),
        words_(words) {}

  /// Makes that many calls, fewer if the choices are exhausted, and then closes all files and looks
  /// at them. Raises Fault.
  void run(std::uint64_t calls);

 private:
  const Operation& chooseOperation();
  const Operation& operation(const std::string& name) const;
  Call callOf(const std::string& name, std::vector<Array> inputs) const;
  /// The outputs; none where the call failed.
  std::vector<Array> make(const Call& call);
  void tell(const Call& call);
  void failed(const Call& call, const vlhost::Error& error);
  double ask(const std::string& name, std::vector<Array> inputs, std::size_t output = 0);
  void expect(bool condition, const std::string& what) const;
  void verify(std::uint64_t handle);
  void verifyAttributes(const FileModel& file, std::uint64_t handle);
  void verifyVariables(const FileModel& file, std::uint64_t handle);
  void finish();

  vlhost::Plugin& gateway_;
  const std::vector<Operation>& catalogue_;
  Choices& choices_;
  Progress& progress_;
  Words words_;
  Model model_;
  Arguments arguments_{choices_, model_};
};
