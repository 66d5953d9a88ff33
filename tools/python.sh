# The Python environment in build/venv. Sourced by tools/setup.sh.
# shellcheck shell=bash

# shellcheck disable=SC2154  # root is the caller's
venv=$root/build/venv
python=$venv/bin/python

# Makes the environment, with the python3 on the PATH, where none works: also when that Python has
# gone. What CMake remembers of the old one is forgotten then.
ensure_venv() {
  [ -e "$venv/complete" ] && "$python" -I -c '' 2>/dev/null && return
  say "Making a Python environment in build/venv"
  quietly venv python3 -I -m venv --clear "$venv" || fail "python3 cannot make an environment"
  rm -f "$root"/build/*/CMakeCache.txt
  touch "$venv/complete"
}

# ensure_requirements NAME...: installs tools/requirements/NAME.txt where it changed since the last
# time. The files list dependencies too, hence no resolving.
ensure_requirements() {
  local name list
  for name; do
    list=$root/tools/requirements/$name.txt
    cmp -s "$list" "$venv/$name.txt" && continue
    say "Installing the Python packages of tools/requirements/$name.txt"
    quietly "pip-$name" "$python" -I -m pip install --no-deps --only-binary=:all: -r "$list" ||
      fail "the Python packages could not be installed; is a package index within reach?"
    cp "$list" "$venv/$name.txt"
  done
}
