# The Debian packages that a purpose needs. Sourced by tools/setup.sh.
# shellcheck shell=bash

# need PACKAGE COMMAND...: the package is missing where the command fails.
need() {
  local package=$1
  shift
  "$@" >/dev/null 2>&1 || missing+=("$package")
}

has_header() { g++ -x c++ -E - <<<"#include <$1>"; }

has_cmake() {
  local version
  version=$(cmake --version | sed -n '1s/[^0-9]*//p')
  printf '%s\n' 3.25 "$version" | sort -CV
}

has_sanitizers() { compgen -G "$(clang++ -print-resource-dir)/lib/*/libclang_rt.asan*"; }

# The python3 on the PATH need not be Debian's, so it is asked itself.
python_packages() {
  python3 -I -c '
import importlib.util, os, sys, sysconfig
if sys.version_info < (3, 9): print("python3")
if not importlib.util.find_spec("ensurepip"): print("python3-venv")
if not os.path.exists(sysconfig.get_path("include") + "/Python.h"): print("python3-dev")
' 2>/dev/null || printf '%s\n' python3 python3-venv python3-dev
}

# find_missing run|wheel|bench|faults|check: fills the array `missing`.
find_missing() {
  mapfile -t missing < <(python_packages)
  need g++ command -v g++
  need binutils command -v readelf
  need cmake has_cmake
  need ninja-build command -v ninja
  need libboost-dev has_header boost/version.hpp
  need zlib1g-dev has_header zlib.h
  need libisal-dev has_header isa-l/igzip_lib.h
  need libdeflate-dev has_header libdeflate.h
  case $1 in run | wheel) return ;; esac
  case $1 in bench | check) need libbenchmark-dev has_header benchmark/benchmark.h ;; esac
  [ "$1" != bench ] || return 0
  need libgtest-dev has_header gtest/gtest.h
  need clang command -v clang++
  need libclang-rt-dev has_sanitizers
  need llvm command -v llvm-symbolizer # Names functions in reports and suppressions.
  if [ "$1" = faults ]; then
    need valgrind command -v valgrind
    return
  fi
  need git command -v git
  need pkgconf command -v pkg-config
  need clang-tidy command -v clang-tidy
  need shellcheck command -v shellcheck
}

as_root() {
  if [ "$(id -u)" = 0 ]; then
    env DEBIAN_FRONTEND=noninteractive "$@"
  else
    sudo env DEBIAN_FRONTEND=noninteractive "$@"
  fi
}

# ensure_packages run|wheel|bench|faults|check: installs what is missing, or names it and ends.
ensure_packages() {
  find_missing "$1"
  [ ${#missing[@]} -gt 0 ] || return 0
  command -v apt-get >/dev/null ||
    fail "missing on this machine (names of Debian's packages): ${missing[*]}"
  [ "$(id -u)" = 0 ] || command -v sudo >/dev/null ||
    fail "missing: ${missing[*]}; only root can install Debian packages, and there is no sudo"

  say "Installing Debian packages: ${missing[*]}"
  quietly apt-update as_root apt-get -q update || say "The lists of packages may be out of date"
  quietly apt-install as_root apt-get -q -y -o DPkg::Lock::Timeout=300 \
    install --no-install-recommends "${missing[@]}" || fail "the packages could not be installed"

  find_missing "$1"
  [ ${#missing[@]} -eq 0 ] || fail "this system's packages are too old, or the PATH hides them;" \
    "still missing: ${missing[*]} (CMake 3.25 and Python 3.9 are the oldest that do)"
}
