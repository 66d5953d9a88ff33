/// Benchmarks that do the same work in several ways, turn by turn in one run, so that what else the
/// machine does reaches all of them alike.
///
/// The first way is the gateway's; the others are direct uses of the CDF library. Reported are the
/// medians of the turns: `<way>_ns` for one call of each way, and for each way but the first
/// `vs_<way>`, its time divided by the gateway's: the gateway's speed as a share of that way's; and
/// `above_<way>_ns`, what one call of the gateway takes more. Where much is moved, `<way>_peak` is
/// the memory that a call needed, in copies of the data.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace bench {

struct Way {
  const char* name;
  std::function<void()> run;
};

struct Work {
  std::string name;
  long calls;        ///< Of each way in one turn: enough that a turn is long against the clock.
  long turns = 9;    ///< After one that is not counted.
  double bytes = 0;  ///< Moved by one call, 0 where that says nothing.
  double items = 1;  ///< Done by one call.
  /// Makes files and arrays when the benchmark's turn has come; the ways own what they need.
  std::function<std::vector<Way>()> prepare;
};

/// Whether every work is to be done once at its smallest size, to see that it still runs.
bool trial();
void setTrial();

/// Registers the work with Google Benchmark.
void add(Work work);

}  // namespace bench
