# Builds a wheel of the Python package in build/wheel. Sourced by ./run and ./check, which have set up.
# shellcheck shell=bash
: "${root:?}" "${venv:?}" "${python:?}"

# build_wheel: leaves one wheel there, for the Python of build/venv; its path goes to `wheel`.
build_wheel() {
  local folder=$root/build/wheel raw=$root/build/tmp/wheel platform
  rm -rf "$folder" "$raw"
  say "Building the wheel (compiles everything, takes minutes)"
  SKBUILD_CMAKE_DEFINE=TARVIK_FETCH_CDF=ON quietly wheel "$python" -I -m pip wheel \
    --no-index --no-deps --no-build-isolation -w "$raw" "$root" ||
    fail "the wheel could not be built; the reason stands above"

  # The libraries stay as they are: nothing is brought in from outside or patched. Hence the wheel
  # gets the tag that it deserves now instead of being repaired for another.
  platform=$(platform_of "$raw"/*.whl) || platform=
  [ -n "$platform" ] ||
    fail "auditwheel does not tell on which systems the wheel runs; see build/log/auditwheel.log"
  quietly wheel-tag "$python" -I -m wheel tags --remove --platform-tag "$platform" "$raw"/*.whl ||
    fail "the wheel could not be tagged"
  mv "$raw" "$folder"
  wheel=$(compgen -G "$folder/*.whl")
}

# platform_of WHEEL: the oldest platform whose libraries have all symbols that the wheel needs, as
# manylinux_2_34_x86_64; linux_x86_64 where it needs libraries that such systems do not promise.
platform_of() {
  "$venv/bin/auditwheel" show "$1" 2>"$root/build/log/auditwheel.log" | tr '\n' ' ' |
    sed -n 's/.*is consistent with the *following platform tag: *"\([a-z0-9_]*\)".*/\1/p'
}

# tell_of_wheel: the last words of ./run wheel.
tell_of_wheel() {
  local version
  version=$("$python" -I -c 'import sys; print("%d.%d" % sys.version_info[:2])')
  say "The wheel is there, with all libraries inside."
  [[ $wheel != *-linux_* ]] || say "It needs libraries of this machine; auditwheel show tells which."
  say "To install it: python$version -m pip install $(printf %q "$wheel")"
}

# ensure_wheels NAME: the packages of tools/requirements/NAME.txt lie in build/venv/wheels, for
# installing without an index.
ensure_wheels() {
  local list=$root/tools/requirements/$1.txt folder=$venv/wheels
  cmp -s "$list" "$folder/$1.txt" && return
  say "Fetching the wheels of tools/requirements/$1.txt"
  quietly "wheels-$1" "$python" -I -m pip download --no-deps --only-binary=:all: -r "$list" \
    -d "$folder" || fail "the Python packages could not be fetched; is a package index within reach?"
  cp "$list" "$folder/$1.txt"
}
