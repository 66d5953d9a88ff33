# The project's own files, for ./check, which runs in the checkout. Sourced.
# shellcheck shell=bash

# files_like PATTERN...: fills the array `files` with those under version control and the new ones
# that are not ignored. The checkout may belong to another user.
files_like() {
  local file
  files=()
  while IFS= read -r -d '' file; do
    [ -f "$file" ] && files+=("$file")
  done < <(git -c safe.directory='*' ls-files -z --cached --others --exclude-standard -- "$@")
  [ ${#files[@]} -gt 0 ] || fail "no file is like $*; is this a git checkout?"
}

# What an installed tree is made of: every file of the project, and the CDF library in use.
inputs_hash() {
  files_like .
  sha256sum -- "${files[@]}" build/release/lib/libcdf* | sha256sum
}

# unchanged STAMP: nothing changed since `remember STAMP`.
unchanged() { [ "$(cat "$1" 2>/dev/null)" = "$(inputs_hash)" ]; }
remember() { inputs_hash >"$1"; }
