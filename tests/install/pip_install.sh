#!/usr/bin/env bash
# pip_install.sh PYTHON: installs the package, as "pip install ." does, into an environment of its
# own and uses it there. What it depends on comes from the environment of PYTHON; no network.
set -euo pipefail
here=$(dirname -- "$(readlink -f -- "$0")")
project=$(dirname -- "$(dirname -- "$here")")
outer=$1
# shellcheck source=tests/install/look.sh
. "$here/look.sh"

work=$(readlink -f -- "$(mktemp -d)")
trap 'rm -rf "$work"' EXIT
unset PYTHONPATH PYTHONHOME
site='import sysconfig; print(sysconfig.get_path("purelib"))'

"$outer" -I -m venv --without-pip "$work/venv"
python=$work/venv/bin/python
"$outer" -I -c "$site" >"$("$python" -I -c "$site")/outer.pth"
PATH=$work/venv/bin:$PATH "$python" -I -m pip install \
  --no-index --no-build-isolation --no-deps "$project"
look_at "$("$python" -I -c "$site")/tarvik" "$project"

cd "$work"
"$work/venv/bin/tarvik" demo --json >demo.json
"$python" -I -m json.tool demo.json >/dev/null
"$python" -I -c '
import tarvik
with tarvik.call("create", "made") as file:
    assert tarvik.call("inquire", file) is not None
with tarvik.extended.open("made.cdf") as file:
    print(tarvik.__file__, file)
assert tarvik.extended.computeTT2000([2000, 1, 1, 11, 58, 55, 816, 0, 0]) == 0
'
"$python" -I -c 'import sys, xarray; xarray.open_dataset(sys.argv[1]).Epoch[23]' \
  "$project/examples/data/ac_h2_sis_20101105_v06.cdf"
[ -s made.cdf ] || die "no file was made"
