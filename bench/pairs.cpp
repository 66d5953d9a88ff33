#include "bench/pairs.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <fstream>
#include <utility>

#include "runtime/host.h"

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

/// From here on a process's memory tells what one call needed.
constexpr double largeBytes = 50e6;

bool isTrial = false;

/// Seconds for that many calls.
double timeOf(const Way& way, long calls) {
  const auto start = Clock::now();
  for (long i = 0; i < calls; ++i) way.run();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// A line of /proc/self/status, in bytes.
double memory(const std::string& name) {
  std::ifstream file("/proc/self/status");
  std::string key;
  double kibibytes = 0;
  while (file >> key && key != name + ":") {
  }
  file >> kibibytes;
  return kibibytes * 1024;
}

/// The memory that one call needed at its peak beyond what was held before it.
double peakOf(const Way& way) {
  vlhost::giveBackSpareMemory();
  const double before = memory("VmRSS");
  std::ofstream("/proc/self/clear_refs") << 5;  // the peak starts anew
  way.run();
  return memory("VmHWM") - before;
}

void run(benchmark::State& state, const Work& work) {
  const std::vector<Way> ways = work.prepare();
  const long calls = trial() ? 1 : work.calls;
  std::vector<std::vector<double>> times(ways.size());
  for (const Way& way : ways) timeOf(way, 1);
  std::size_t first = 0;
  for (auto turn : state) {
    static_cast<void>(turn);
    // Each turn begins with another way, so that what one leaves in the caches helps all alike.
    for (std::size_t i = 0; i < ways.size(); ++i) {
      const std::size_t way = (first + i) % ways.size();
      times[way].push_back(timeOf(ways[way], calls));
    }
    ++first;
    state.SetIterationTime(times[0].back());
  }

  // Ratios and differences are taken turn by turn: a slow moment of the machine reaches the ways of
  // one turn alike.
  for (std::size_t i = 0; i < ways.size(); ++i) {
    const std::string name = ways[i].name;
    state.counters[name + "_ns"] = median(times[i]) * 1e9 / static_cast<double>(calls);
    if (i == 0) continue;
    std::vector<double> ratios, differences;
    for (std::size_t turn = 0; turn < times[i].size(); ++turn) {
      ratios.push_back(times[i][turn] / times[0][turn]);
      differences.push_back(times[0][turn] - times[i][turn]);
    }
    state.counters["vs_" + name] = median(ratios);
    state.counters["above_" + name + "_ns"] =
        median(differences) * 1e9 / static_cast<double>(calls);
  }
  for (const Way& way : ways) {
    if (work.bytes >= largeBytes) {
      state.counters[std::string(way.name) + "_peak"] = peakOf(way) / work.bytes;
    }
  }
  if (work.bytes > 0) state.counters["bytes"] = work.bytes;
  state.counters["items"] = work.items;
}

}  // namespace

bool trial() {
  return isTrial;
}

void setTrial() {
  isTrial = true;
}

void add(Work work) {
  const std::string name = work.name;
  const long turns = trial() ? 1 : work.turns;
  benchmark::RegisterBenchmark(
      name.c_str(), [work = std::move(work)](benchmark::State& state) { run(state, work); })
      ->Iterations(turns)
      ->UseManualTime()
      ->Unit(benchmark::kMicrosecond);
}

}  // namespace bench
