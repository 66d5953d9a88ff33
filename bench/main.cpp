// bench [--trial] [options of Google Benchmark]
#include <benchmark/benchmark.h>
#include <string_view>

#include "bench/pairs.h"
#include "bench/works.h"

int main(int argc, char** argv) {
  if (argc > 1 && std::string_view(argv[1]) == "--trial") {
    bench::setTrial();
    argv[1] = argv[0];
    ++argv;
    --argc;
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  bench::addBulk();
  bench::addSmall();
  bench::addEpochs();
  bench::addMany();
  // Status 0 without a single benchmark run would hide a filter that matches nothing.
  const bool ran = benchmark::RunSpecifiedBenchmarks() > 0;
  benchmark::Shutdown();
  return ran ? 0 : 1;
}
