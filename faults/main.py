"""Tries to break the gateway, and prints what came of it as JSON.

The trials of damage are counted in damaged files; the others in processes that are killed or that
run out of disk.
"""

import argparse
import json
import os
import platform
import subprocess
import sys
import tempfile
import time
from pathlib import Path

import damage
import tarvik
import writers


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--files", type=Path, required=True, help="the folder of CDF files")
    parser.add_argument("--fuzzer", type=Path, required=True, help="the program that makes calls")
    parser.add_argument("--trial", action="store_true", help="everything once, as small as it goes")
    options = parser.parse_args()
    files = [path.resolve() for path in sorted(options.files.glob("*.cdf"))]
    files = [path for path in files if path.stat().st_size > 100]
    counts = dict.fromkeys(COUNTS, 1) if options.trial else COUNTS
    results = {"versions": _versions(), "files": len(files)}
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)  # where the library makes its scratch files
        for name, trial in _trials(files, folder, options.fuzzer.resolve(), counts).items():
            print(f"{name} ...", file=sys.stderr, flush=True)
            start = time.perf_counter()
            results[name] = trial()
            results[name]["seconds"] = time.perf_counter() - start
        os.chdir("/")
    print(json.dumps(results, indent=1))


COUNTS = {
    "calls": 5_000_000,
    "damaged": 60_000,
    "isolated": 60_000,
    "checksum": 20_000,
    "killed": 20,
    "full disk": 20,
    "copies": 20,
    "opens": 10_000,
    "turns": 51,
}


def _trials(files, folder, fuzzer, counts):
    own = writers.file_of("plain", Path(folder, "own.cdf"))
    return {
        "calls": lambda: _fuzz(fuzzer, counts["calls"]),
        "in process": lambda: damage.in_process(files, counts["damaged"], folder),
        "isolated": lambda: damage.isolated(files, counts["isolated"], folder),
        "checksum": lambda: damage.with_checksum([*files, own], counts["checksum"], folder),
        "opening": lambda: damage.opening(files, counts["turns"]),
        "killed": lambda: {"kinds": writers.killed(counts["killed"], folder)},
        "full disk": lambda: {"kinds": writers.full_disk(counts["full disk"], folder)},
        "copies": lambda: writers.copies(counts["copies"], folder),
        "opens": lambda: writers.opens(counts["opens"], folder),
        "two handles": lambda: writers.two_handles(folder),
    }


def _fuzz(fuzzer, calls):
    """The figures of the fuzzer, and how it ended."""
    finished = subprocess.run(
        [fuzzer, "--calls", str(calls)], stdout=subprocess.PIPE, text=True, check=False
    )
    figures = json.loads(finished.stdout) if finished.returncode == 0 else {}
    return {"ended": finished.returncode, **figures}


def _versions():
    version = ".".join(str(int(part)) for part in tarvik.getLibraryVersion()[:3])
    return {"cdf": version, "python": platform.python_version(), "machine": platform.machine()}


if __name__ == "__main__":
    main()
