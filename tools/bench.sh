# Runs the benchmarks and writes the pages of performance. Sourced by ./run, which has set up.
# shellcheck shell=bash

# shellcheck disable=SC2154  # root and python are the caller's
measure() {
  local results=$root/build/bench real=$root/../shared/real
  mkdir -p "$results"
  export TMPDIR=$results SPACEPY=$root/build
  say "Measuring the gateway beside the CDF library (some minutes)"
  "$root/build/release/bench/tarvik_bench" --benchmark_out="$results/library.json" \
    --benchmark_out_format=json >&2 || fail "a benchmark failed"
  say "Measuring the Python package beside other packages (some minutes)"
  [ -d "$real" ] || real=$root/examples/data
  env -u PYTHONSAFEPATH "$python" "$root/bench/peers.py" --real "$real" >"$results/peers.json" ||
    fail "a benchmark of the Python package failed"
  PYTHONPATH=$root/tools:$root/bench "$python" "$root/bench/report.py" "$results/library.json" "$results/peers.json" "$root/docs" ||
    fail "the page could not be written"
  say "docs/performance.md and docs/performance-details.md are written"
}
