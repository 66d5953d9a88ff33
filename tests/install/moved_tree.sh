#!/usr/bin/env bash
# moved_tree.sh BUILD: installs a build, moves the tree, and uses it there from a program.
set -euo pipefail
here=$(dirname -- "$(readlink -f -- "$0")")
build=$(readlink -f -- "$1")
# shellcheck source=tests/install/look.sh
. "$here/look.sh"

work=$(readlink -f -- "$(mktemp -d)")
trap 'rm -rf "$work"' EXIT
unset DESTDIR LD_LIBRARY_PATH
cmake --install "$build" --prefix "$work/first"
mv "$work/first" "$work/moved tree"
look_at "$work/moved tree" "$(dirname -- "$(dirname -- "$here")")"

# shellcheck disable=SC2154  # look_at sets `libraries`
g++ -std=c++17 -Wall -Wextra -Werror -I "$work/moved tree/include/tarvik" "$here/use.cpp" \
  -o "$work/use" -L "$libraries" -lvlhost "-Wl,-rpath,$libraries"
cd "$work"
for plugin in tarvik.so tarvik_extended.so; do
  rm -f made.cdf
  ./use "$libraries/$plugin"
  [ -s made.cdf ] || die "no file was made"
done
