// Memory that runs out: allocation number N fails for N = 0, 1, 2, ... until the call succeeds, for
// every operation, first where the host hands memory out and then where C++ code asks for it. A
// program of its own, since it replaces the allocation functions of all that it loads.
#include <cstdlib>
#include <new>

#include "tests/gateway/samples.h"

namespace {

/// Allocations by C++ code until one fails; negative where none is to fail.
long untilFailure = -1;

}  // namespace

void* operator new(std::size_t size) {
  void* memory = untilFailure >= 0 && untilFailure-- == 0 ? nullptr : std::malloc(size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return std::malloc(size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
  std::free(memory);
}

namespace {

class FaultsTest : public SamplesTest {
 protected:
  /// Calls an operation of the samples on the files as they were made; allocation n fails. Gives
  /// the identifier of the error.
  std::string identifierWith(std::size_t operation, void (*failAllocation)(long), long n) {
    openFiles();
    const Sample sample = samples()[operation];
    const Array name = vlhost::text(sample.operation);
    std::vector<const vlArray*> arguments = {name.get()};
    for (const Input& input : sample.inputs) {
      arguments.push_back(input.array);
    }
    const vlhost::Holdings held = vlhost::holdings();
    std::string identifier;
    shown_.clear();
    failAllocation(n);
    try {
      const std::vector<Array> outputs = gateway().call(arguments, 8).outputs;
      failAllocation(-1);
      if (opensAFile(sample)) {
        call("close", outputs.at(0).get());
      } else {
        for (const Array& output : outputs) shown_ += shown(output);
      }
    } catch (const vlhost::Error& error) {
      failAllocation(-1);
      identifier = error.identifier();
      EXPECT_EQ(vlhost::holdings().arrays, held.arrays);
      EXPECT_EQ(vlhost::holdings().blocks, held.blocks);
      EXPECT_FALSE(std::filesystem::exists(path("new.cdf")));
      EXPECT_EQ(call("inquire", file_).size(), 5U);
    }
    closeFiles();
    return identifier;
  }

  /// Gives the number of allocations that were seen to fail.
  long failEach(void (*failAllocation)(long)) {
    long failures = 0;
    for (std::size_t i = 0; i < samples().size(); ++i) {
      EXPECT_EQ(identifierWith(i, failAllocation, -1), "");
      const std::string usual = shown_;
      long n = 0;
      std::string identifier;
      while ((identifier = identifierWith(i, failAllocation, n)) == "VORLAN:outOfMemory") {
        ++n;
      }
      EXPECT_EQ(identifier, "") << samples()[i].operation << ", allocation " << n;
      EXPECT_EQ(shown_, usual);
      failures += n;
    }
    return failures;
  }

 private:
  std::string shown_;  ///< The outputs of the last call.
};

TEST_F(FaultsTest, OfTheHost) {
  // The name of the operation alone is a block of every call, and most have outputs.
  EXPECT_GT(failEach(vlhost::failAllocation), 88 + 44);
}

TEST_F(FaultsTest, OfTheGatewaysOwnCode) {
  EXPECT_GT(failEach([](long n) { untilFailure = n; }), 44);
}

}  // namespace
