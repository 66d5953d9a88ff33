#!/usr/bin/env bash
# main_job.sh: the command ./run as users call it: from elsewhere, through a link, for programs.
set -euo pipefail
here=$(dirname -- "$(readlink -f -- "$0")")
project=$(dirname -- "$(dirname -- "$here")")

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
ln -s "$project/run" show
printf 'raise SystemExit("shadowed")\n' >json.py # Files beside the data must not matter.

./show --json >demo.json
python3 -I -m json.tool demo.json >/dev/null
status=0
./show missing.cdf >words.txt || status=$?
if [ "$status" != 3 ] || [ -s words.txt ]; then
  printf 'error: a missing file gave %s\n' "$status" >&2
  exit 1
fi
