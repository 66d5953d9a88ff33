# Tries to break the gateway and writes docs/reliability.md. Sourced by ./run, which has set up.
# shellcheck shell=bash

# shellcheck disable=SC2154  # root and python are the caller's
try_faults() {
  local results=$root/build/faults files=$root/../shared/real
  mkdir -p "$results"
  export TMPDIR=$results
  [ -d "$files" ] || files=$root/examples/data
  show_library_faults
  say "Looking for leaks with the tests (some minutes)"
  valgrind_tests >"$results/leaks.txt" || exit
  say "Making calls, damaging files, killing writers (hours)"
  env -u PYTHONSAFEPATH "$python" "$root/faults/main.py" --files "$files" \
    --fuzzer "$root/build/sanitize/tests/fuzz/fuzz" >"$results/faults.json" ||
    fail "the trials failed"
  PYTHONPATH=$root/tools "$python" "$root/faults/report.py" "$results" "$root/docs" ||
    fail "the page could not be written"
  say "docs/reliability.md is written"
}

# show_library_faults: prints which of its known faults the CDF library still has.
show_library_faults() {
  say "Trying the known faults of the CDF library"
  "$root/build/release/faults/library/library_faults" ||
    fail "the known faults of the CDF library could not be tried"
}

# valgrind_tests: runs each C++ test program of the release build, and those Python tests that stay in
# one process, and gives for each a name, its accesses to memory that is not its own and the bytes that
# it lost. What valgrind says of uninitialised memory within the library is not asked.
# The program that lets allocations fail has allocation functions of its own, and a test that needs
# the limits of real memory is left out, as are streams of gigabytes.
valgrind_tests() {
  local program
  export GTEST_FILTER="-*CannotAllocate:*4GiB*:*LongAndFlushed*"
  find "$root/build/release/tests" -name '*_test' ! -name faults_test -type f -perm -u+x |
    sort | while read -r program; do
    under_valgrind "$(basename "$program")" "$program"
  done || return
  (
    cd "$root/tests/python" || exit
    # The library keeps tables to its end, which have no owner where that comes before the program's.
    local keep="import ctypes, os, sys; ctypes.CDLL(sys.argv.pop(1), os.RTLD_NODELETE); "
    PYTHONMALLOC=malloc under_valgrind python "$python" -c "$keep import pytest; sys.exit(pytest.main())" \
      "$root/build/release/lib/libcdf.so" -q -p no:cacheprovider test_catalogue.py \
      test_conversion.py test_errors.py test_extended.py test_files.py test_layouts.py \
      test_reads.py test_real_files.py test_times.py
  )
}

# under_valgrind NAME COMMAND...: counts what has to do with the library, the gateway or the host; the
# Python interpreter keeps some memory to its end.
under_valgrind() {
  local name=$1 log=$TMPDIR/valgrind.log ended=0
  shift
  valgrind --leak-check=full --undef-value-errors=no --show-mismatched-frees=no --num-callers=40 \
    --keep-debuginfo=yes --suppressions="$root/tests/valgrind.supp" --log-file="$log" \
    "$@" >/dev/null 2>&1 || ended=$?
  [ "$ended" = 0 ] || fail "$name failed under valgrind"
  awk -v name="$name" '
    /Invalid (read|write|free)/ { invalid = 1; bytes = 0 }
    /definitely lost in loss record/ { gsub(",", "", $2); bytes = $2; invalid = 0 }
    /libcdf\.so|vlhost|tarvik::|tarvik[a-z_]*\.so|_host\./ { ours = 1 }
    NF == 1 { if (ours) { lost += bytes; wrong += invalid } bytes = invalid = ours = 0 }
    END { print name, wrong + 0, lost + 0 }' "$log"
}
