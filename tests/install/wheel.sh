#!/usr/bin/env bash
# wheel.sh WHEEL DEPENDENCIES PYTHON: installs the wheel into an environment of its own, what it
# depends on out of the folder DEPENDENCIES, and uses it there: without an index, from an empty
# folder, with nothing on the PATH but that environment. Extras come from the environment of PYTHON.
set -euo pipefail
here=$(dirname -- "$(readlink -f -- "$0")")
project=$(dirname -- "$(dirname -- "$here")")
wheel=$(readlink -f -- "$1")
dependencies=$(readlink -f -- "$2")
outer=$3
# shellcheck source=tests/install/look.sh
. "$here/look.sh"

work=$(readlink -f -- "$(mktemp -d)")
trap 'rm -rf "$work"' EXIT
"$outer" -I -m venv "$work/venv"
mkdir "$work/home"
cd "$work/home"
alone() { env -i HOME="$work/home" TMPDIR="$work" PATH="$work/venv/bin" "$@"; }

# By name, as from an index: pip would note where a file lay.
alone python -I -m pip --isolated install --no-cache-dir --no-index --only-binary=:all: \
  --find-links "$(dirname -- "$wheel")" --find-links "$dependencies" tarvik
alone python -I -m pip --isolated check

site=$(alone python -I -c 'import sysconfig; print(sysconfig.get_path("purelib"))')
look_at "$site/tarvik" "$project"
if grep -rlF -e "$project" "$site"/tarvik-*.dist-info; then
  die "these files name $project"
fi

# Every library once, unchanged beside the others.
found=$(cd "$site" && find . -path './tarvik*' -name '*.so*' | sort | tr '\n' ' ')
[[ $found =~ ^./tarvik/_host[^/]*.so\ ./tarvik/lib/libcdf.so[.0-9]*\ \
(./tarvik/lib/lib(deflate|isal|tarvik_zlib).so[.0-9]*\ ){0,3}./tarvik/lib/libvlhost.so\ \
./tarvik/lib/tarvik.so\ ./tarvik/lib/tarvik_extended.so\ $ ]] || die "other libraries: $found"

# The tag promises no older system than the C library's symbols allow.
tag=$(sed -n 's/^Tag: //p' "$site"/tarvik-*.dist-info/WHEEL)
[[ $(basename -- "$wheel") == tarvik-*-"$tag.whl" ]] || die "$wheel has the tag $tag"
[[ $tag =~ -manylinux_2_([0-9]+)_$(uname -m)$ ]] || die "the wheel is for $tag only"
promised=${BASH_REMATCH[1]}
# shellcheck disable=SC2086  # found holds several names
needed=$(cd "$site" && objdump -T $found | sed -n 's/.*(GLIBC_2\.\([0-9]*\).*/\1/p' | sort -n | tail -n 1)
((needed <= promised)) || die "$tag promises too much: glibc 2.$needed is needed"

# Licences, also in the metadata, and where the CDF library comes from.
versions=$(alone tarvik --version)
licenses=$(sed -n 's/^licences: //p' <<<"$versions")
names=(Boost CDF nanobind robin_map)
if [ -e "$site/tarvik/lib/libtarvik_zlib.so" ]; then
  names+=(ISA-L libdeflate)
  [[ $versions == *"zlib: ISA-L"* ]] || die "the zlib that lies there is not called"
fi
for name in "${names[@]}"; do
  [ -s "$licenses/$name.txt" ] || die "the licence of $name is missing"
done
grep -qxF 'License-Expression: BSD-3-Clause' "$site"/tarvik-*.dist-info/METADATA ||
  die "the metadata name another licence"
cmp "$project/LICENSE" "$site"/tarvik-*.dist-info/licenses/LICENSE
sum=$(sha256sum "$site"/tarvik/lib/libcdf*)
grep -qxF "SHA-256: ${sum%% *}" "$licenses/CDF-origin.txt" || die "another CDF library is described"

alone tarvik demo --json >demo.json
alone python -I -m json.tool demo.json >/dev/null
alone python -I -c '
import tarvik
from tarvik import ops
with ops.call("create", "made") as file:
    assert ops.call("inquire", file) is not None
with ops.open("made.cdf") as file:
    print(tarvik.__file__, file)
assert ops.computeTT2000([2000, 1, 1, 11, 58, 55, 816, 0, 0]) == 0
'
alone tarvik show made.cdf

"$outer" -I -c 'import sysconfig; print(sysconfig.get_path("purelib"))' >"$site/outer.pth"
alone python -I -c 'import sys, xarray; xarray.open_dataset(sys.argv[1]).Epoch[23]' \
  "$project/examples/data/ac_h2_sis_20101105_v06.cdf"
