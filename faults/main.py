"""Tries to break the gateway, and prints what came of it as JSON.

The trials of damage are counted in damaged files; the others in processes that are killed or that
run out of disk.
"""

import argparse
import json
import os
import platform
import runpy
import subprocess
import sys
import tempfile
import time
from dataclasses import dataclass
from pathlib import Path

import commands
import damage
import writers
from tarvik import ops


def main():
    """Make the trials that are named, or all."""
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("trials", nargs="*", choices=[[], *TRIALS], help="all without any")
    parser.add_argument("--files", type=Path, required=True, help="the folder of CDF files")
    parser.add_argument("--fuzzer", type=Path, required=True, help="the program that makes calls")
    parser.add_argument("--count", type=int, help="of each trial, instead of the usual number")
    parser.add_argument("--keep", type=Path, help="a folder for copies with damaged structures")
    parser.add_argument("--trial", action="store_true", help="as small as it goes")
    options = parser.parse_args()
    files = [path.resolve() for path in sorted(options.files.glob("*.cdf"))]
    files = [path for path in files if path.stat().st_size > 100]
    fuzzer = options.fuzzer.resolve()
    keep = options.keep and options.keep.resolve()
    count = 1 if options.trial else options.count
    results = {"versions": _versions(), "files": len(files)}
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)  # where the library makes its scratch files
        given = Given(files, folder, fuzzer, keep)
        for name in options.trials or TRIALS:
            print(f"{name} ...", file=sys.stderr, flush=True)
            start = time.perf_counter()
            results[name] = TRIALS[name](given, count or COUNTS.get(name))
            results[name]["seconds"] = time.perf_counter() - start
        os.chdir("/")
    print(json.dumps(results, indent=1))


@dataclass(frozen=True)
class Given:
    """What the trials are made with."""

    files: list
    folder: str
    fuzzer: Path
    keep: Path | None  # for damaged copies that went wrong

    def with_own(self):
        """The files, and one that is made here."""
        return [*self.files, writers.file_of("plain", Path(self.folder, "own.cdf"))]


_TESTS = Path(__file__).parents[1] / "tests/python"
COUNTS = {
    "calls": 5_000_000,
    "in process": 60_000,
    "isolated": 60_000,
    "structures": 20_000,
    "commands": 20_000,
    "sequences": 10_000,
    "processes": 2_000,
    "checksum": 20_000,
    "opening": 51,
    "killed": 20,
    "full disk": 64,
    "copies": 20,
    "opens": 10_000,
}
TRIALS = {
    "calls": lambda given, count: _fuzz(given.fuzzer, count),
    "in process": lambda given, count: damage.in_process(given.files, count, given.folder),
    "isolated": lambda given, count: damage.isolated(given.files, count, given.folder),
    "structures": lambda given, count: damage.in_structures(
        given.files, count, given.folder, given.keep
    ),
    "commands": lambda given, count: commands.with_damage(given.files, count, given.folder),
    "sequences": lambda _given, count: _sequences(count),
    "processes": lambda _given, count: _processes(count),
    "checksum": lambda given, count: damage.with_checksum(given.with_own(), count, given.folder),
    "opening": lambda given, count: damage.opening(given.files, count),
    "killed": lambda given, count: writers.killed(count, given.folder),
    "full disk": lambda given, count: {"kinds": writers.full_disk(count, given.folder)},
    "copies": lambda given, count: writers.copies(count, given.folder),
    "opens": lambda given, count: writers.opens(count, given.folder),
    "two writers": lambda given, _count: writers.two_writers(given.folder),
}


def _fuzz(fuzzer, calls):
    """The figures of the fuzzer; its exit code says whether anything failed."""
    finished = subprocess.run(
        [fuzzer, "--calls", str(calls)], stdout=subprocess.PIPE, text=True, check=False
    )
    return json.loads(finished.stdout)


def _sequences(count):
    """Edits of `File` held against a model and another reader."""
    finished = _with_tests(["test_file_model.py", str(count)], {})
    return json.loads(finished.stdout.splitlines()[-1])


def _processes(count):
    """Interruptions of calls of an isolated gateway, and worker processes that misbehave."""
    finished = _with_tests(
        ["-m", "pytest", "-q", "-p", "no:cacheprovider", "test_hostile.py"],
        {"TARVIK_INTERRUPTIONS": str(count)},
    )
    ways = len(runpy.run_path(_TESTS / "hostile.py")["WAYS"])
    passed = finished.returncode == 0
    return {"interruptions": count, "ways": ways, "passed": passed, "said": finished.stdout[-2000:]}


def _with_tests(arguments, environment):
    """Run Python where the tests are."""
    return subprocess.run(
        [sys.executable, *arguments],
        stdout=subprocess.PIPE,
        cwd=_TESTS,
        env={**os.environ, **environment},
        text=True,
        check=False,
    )


def _versions():
    version = ".".join(str(int(part)) for part in ops.getLibraryVersion()[:3])
    return {"cdf": version, "python": platform.python_version(), "machine": platform.machine()}


if __name__ == "__main__":
    main()
