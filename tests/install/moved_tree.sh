#!/usr/bin/env bash
# moved_tree.sh BUILD: installs a build, moves the tree, and embeds the gateway there as users do: with
# CMake and with pkg-config, in the project's host and in the example of another.
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
tree="$work/moved tree"
look_at "$tree" "$(dirname -- "$(dirname -- "$here")")"
data=$here/../../examples/data/ac_h2_sis_20101105_v06.cdf
[ -s "$(find "$tree" -name operations.md)" ] || die "the reference is missing"
cd "$work"

# The example is built as a copy of the folder that is installed.
cp -r "$(dirname -- "$(find "$tree" -path '*/examples/host/CMakeLists.txt')")" example
cmake -S example -B example/build -DCMAKE_PREFIX_PATH="$tree"
cmake --build example/build
example/build/example_host "$data" flux_He >words.txt
grep -qxF 'record 2: 4.6879e-05 0 0 2.4964e-05' words.txt || die "another record 2: $(cat words.txt)"
grep -qF closingFileHandle words.txt || die "the exit handler did not run"
! example/build/example_host "$data" none >words.txt || die "an unknown variable is no error"
grep -qF 'Error: VORLAN:tarvik:getVarNum:failure' words.txt || die "another error: $(cat words.txt)"
readelf -d example/build/example_host | grep -qF libvlhost && die "the example needs libvlhost.so"

# A program with the project's host, built in both ways.
mkdir use
cp "$here/use.cpp" use
cat >use/CMakeLists.txt <<'END'
cmake_minimum_required(VERSION 3.16)
project(use LANGUAGES CXX)
find_package(tarvik 0.1 REQUIRED)
add_executable(use use.cpp)
target_link_libraries(use PRIVATE tarvik::host)
file(WRITE ${CMAKE_BINARY_DIR}/plugins "${tarvik_PLUGIN}\n${tarvik_EXTENDED_PLUGIN}\n")
END
cmake -S use -B use/cmake -DCMAKE_PREFIX_PATH="$tree"
cmake --build use/cmake

export PKG_CONFIG_PATH
PKG_CONFIG_PATH=$(dirname -- "$(find "$tree" -name tarvik.pc)")
mkdir use/pkg-config
eval "g++ -std=c++17 -Wall -Wextra -Werror use/use.cpp -o use/pkg-config/use \
  $(pkg-config --cflags --libs tarvik)"
for name in plugin extended_plugin; do
  eval "printf '%s\n' $(pkg-config --variable="$name" tarvik)" # It escapes blanks for the shell.
done >use/pkg-config/plugins

for way in cmake pkg-config; do
  while read -r plugin; do
    rm -f made.cdf
    "use/$way/use" "$plugin"
    [ -s made.cdf ] || die "no file was made"
  done <"use/$way/plugins"
done
