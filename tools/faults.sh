# Tries to break the gateway and writes docs/reliability.md. Sourced by ./run, which has set up.
# shellcheck shell=bash

# shellcheck disable=SC2154  # root and python are the caller's
try_faults() {
  local results=$root/build/faults files=$root/../shared/real
  mkdir -p "$results"
  export TMPDIR=$results
  [ -d "$files" ] || files=$root/examples/data
  say "Looking for leaks with the C++ tests (some minutes)"
  valgrind_tests >"$results/leaks.txt"
  say "Making calls, damaging files, killing writers (hours)"
  env -u PYTHONSAFEPATH "$python" "$root/faults/main.py" --files "$files" \
    --fuzzer "$root/build/sanitize/tests/fuzz/fuzz" >"$results/faults.json" ||
    fail "the trials failed"
  PYTHONPATH=$root/tools "$python" "$root/faults/report.py" "$results" "$root/docs" ||
    fail "the page could not be written"
  say "docs/reliability.md is written"
}

# valgrind_tests: runs each C++ test program of the release build and gives its name, how it ended and
# the bytes that it lost. What valgrind says of uninitialised memory within the library is not asked.
# The program that lets allocations fail has allocation functions of its own.
valgrind_tests() {
  local program log=$TMPDIR/valgrind.log code
  find "$root/build/release/tests" -name '*_test' ! -name faults_test -type f -perm -u+x |
    sort | while read -r program; do
    code=0
    valgrind --leak-check=full --undef-value-errors=no --show-mismatched-frees=no \
      --suppressions="$root/tests/valgrind.supp" --error-exitcode=99 --log-file="$log" \
      "$program" >/dev/null 2>&1 || code=$?
    printf '%s %s %s\n' "$(basename "$program")" "$code" \
      "$(sed -n 's/.*definitely lost: \([0-9,]*\) bytes.*/\1/p' "$log" | tr -d ,)"
  done
}
