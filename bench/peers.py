"""The Python package beside other ways into CDF files: the same work, turn by turn in one run.

Gives JSON on stdout: of each work the seconds that each package took in each turn, and the peak
memory in bytes of reading one variable.
"""

import argparse
import gc
import json
import os
import sys
import tempfile
import time
import warnings
from importlib.metadata import version
from itertools import chain
from pathlib import Path

import tarvik
from mission_works import files_to_read
from mission_works import works as mission_works
from peer_works import READERS, first_reading, works


def measure(name, functions, limit):
    """Call all functions turn by turn, at least a dozen times, and more within a limit of seconds.

    A function whose first call takes longer than the limit is not called again: that is its time.
    """
    first = {package: _seconds(function) for package, function in functions.items()}
    slow = [package for package, seconds in first.items() if seconds > limit]
    # What a first call sets up must not decide how many make a turn.
    calls = {
        package: 1 if package in slow else _calls(_seconds(function))
        for package, function in functions.items()
    }
    times = {package: [] for package in functions}
    end = time.perf_counter() + limit
    for turn in range(25):
        if turn >= 12 and time.perf_counter() > end:
            break
        for package, function in functions.items():
            again = package not in slow
            times[package].append(_seconds(function, calls[package]) if again else first[package])
    return {"name": name, "times": times}


def _seconds(function, calls=1):
    if hasattr(function, "seconds"):  # it measures itself
        return function.seconds(calls)
    gc.collect()
    start = time.perf_counter()
    for _ in range(calls):
        function()
    return (time.perf_counter() - start) / calls


def _calls(first):
    """Calls in a turn: enough to be long against the clock."""
    return max(1, min(2000, int(0.02 / first)))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--trial", action="store_true", help="everything once, at its smallest")
    parser.add_argument("--real", type=Path, help="a folder with files of missions")
    parser.add_argument("--only", default="", help="works whose name holds this")
    options = parser.parse_args()
    warnings.simplefilter("ignore")
    limit = 0 if options.trial else 4
    with tempfile.TemporaryDirectory() as folder:
        results = []
        made = Path(folder), options.trial
        for name, functions in chain(works(*made), mission_works(*made, options.real)):
            if options.only in name:
                print(name, file=sys.stderr)
                results.append(measure(name, functions, limit))
        path = os.path.join(folder, "values.cdf")
        memory = {package: first_reading(package, path).take()["peak"] for package in READERS}
        memory["file"] = os.path.getsize(path)
        peaks = {
            kind: {
                package: first_reading(package, path).take()["peak"] / size
                for package in ("File", "spacepy")
            }
            for kind, path, size in files_to_read(Path(folder))
        }
    versions = {package: version(package) for package in ("cdflib", "numpy", "pycdfpp", "spacepy")}
    versions["tarvik"] = tarvik.__version__
    json.dump(
        {"works": results, "memory": memory, "peaks": peaks, "versions": versions}, sys.stdout
    )


if __name__ == "__main__":
    main()
