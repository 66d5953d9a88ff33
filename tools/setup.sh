# Shared by ./run, ./check and tools/fetch-cdf, which set `root` (the checkout) and source this.
# shellcheck shell=bash
#
# Everything that is made lies in build/; only Debian packages go elsewhere. All words of the
# set-up go to stderr, so that stdout belongs to the command that is run in the end.

: "${root:?}"
# shellcheck source=tools/packages.sh
. "$root/tools/packages.sh"
# shellcheck source=tools/python.sh
. "$root/tools/python.sh"

say() { printf '%s\n' "$*" >&2; }

fail() {
  say "error: $*"
  exit 1
}

# Keeps the user's environment and folder from changing what is built or where it goes. Where Python packages
# come from (an index, a proxy, a certificate) stays the user's choice.
isolate() {
  local name
  for name in "${!PIP_@}"; do
    case $name in
      PIP_*INDEX* | PIP_FIND_LINKS | PIP_PROXY | PIP_*CERT | PIP_TRUSTED_HOST) ;;
      PIP_CONFIG_FILE | PIP_*TIMEOUT | PIP_RETRIES) ;;
      *) unset "$name" ;;
    esac
  done
  export PIP_NO_CACHE_DIR=1 PIP_DISABLE_PIP_VERSION_CHECK=1 PIP_NO_INPUT=1 PIP_USER=0
  export PIP_RETRIES=${PIP_RETRIES:-2}
  unset PYTHONHOME PYTHONPATH CDPATH DESTDIR
  export TMPDIR=$root/build/tmp
  mkdir -p "$TMPDIR"
  cd "$root" || exit
}

# One set-up, build or check at a time in a checkout. What runs under the lock may call these
# scripts again. The lock ends with the shell that took it.
lock() {
  [ "${TARVIK_LOCKED-}" != "$root" ] || return 0
  command -v flock >/dev/null || fail "flock is missing (Debian package util-linux)"
  mkdir -p "$root/build"
  exec 9>"$root/build/.lock"
  flock -n 9 || {
    say "Waiting for another run in this checkout"
    flock 9
  }
  export TARVIK_LOCKED=$root
}

# quietly NAME COMMAND...: the output goes to build/log/NAME.log and is shown if the command fails.
quietly() {
  local log=$root/build/log/$1.log
  shift
  mkdir -p "$root/build/log"
  "$@" >"$log" 2>&1 </dev/null && return
  tail -n 200 "$log" >&2
  say "(the whole output is in ${log#"$root/"})"
  return 1
}

# configure PRESET [OPTION...]. CMake refuses what it remembers of a checkout that was moved since.
configure() {
  local preset=$1 cache=$root/build/$1/CMakeCache.txt
  shift
  grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$root" "$cache" 2>/dev/null || rm -f "$cache"
  say "Configuring the preset $preset"
  quietly "configure-$preset" cmake -S "$root" --preset "$preset" "$@" ||
    fail "the preset $preset could not be configured; the reason stands above"
}

# compile PRESET [TARGET...]
compile() {
  local preset=$1
  shift
  say "Compiling the preset $preset (takes minutes at first, seconds later)"
  quietly "compile-$preset" cmake --build "$root/build/$preset" --parallel "$(nproc)" \
    ${1:+--target "$@"} -- --quiet ||
    fail "the preset $preset could not be compiled; the reason stands above"
}
