"""A trial of the commands, which read damaged files in separate processes."""

import collections
import ctypes
import itertools
import os
import subprocess
import sys
import time
from pathlib import Path

import damage
import originals
import structures

_LIMIT = 10  # seconds for a file
_SLACK = 5  # seconds for a command to start and to end what hangs
_FILES = 10  # that a command gets which takes several
_CODES = (0, 1, 3, 4)
_PR_SET_CHILD_SUBREAPER = 36
# Before and after the files; those with `{folder}` make something there.
_SEVERAL = {
    "ls": (),
    "show": (),
    "check": (),
    "copy": ("{folder}", "--force", "--isolated"),
    "export": ("-o", "{folder}", "--force", "--isolated"),
}
_ONE = {
    "attrs": (),
    "compare": ("{original}", "--isolated"),
    "plot": ("-o", "{folder}/plot.png", "--force", "--isolated"),
}


def with_damage(files, count, folder):
    """Read damaged copies with all commands in turn; find commands that crash, hang or lose it.

    The time limit of a command is that of its files together.
    """
    place, made, ours = (Path(folder, name) for name in ("damaged", "made", "originals"))
    for path in (place, made, ours):
        path.mkdir()
    _adopt_orphans()
    files = [*files, *originals.make(ours)]
    copies = damage.damaged_copies(files, count, folder, structures.damaged)
    result = {"count": count, "commands": 0, "bad": [], "slowest": 0.0}
    codes = collections.Counter()
    for name, options in itertools.cycle({**_SEVERAL, **_ONE}.items()):
        batch = _batch(copies, _FILES if name in _SEVERAL else 1, place)
        if not batch:
            break
        filled = [text.format(folder=made, original=batch[0][0]) for text in options]
        code, said, seconds = _run(name, [path for _, path, _ in batch], filled)
        codes[str(code)] += 1
        result["commands"] += 1
        result["slowest"] = max(result["slowest"], seconds / len(batch))
        if code not in _CODES or "Traceback" in said:
            row = {"command": name, "ending": str(code), "why": said[-300:]}
            result["bad"].append({**row, "damage": [words for _, _, words in batch]})
    left = sorted(path.name for path in Path(folder).iterdir() if path not in (place, made, ours))
    orphans = Path(f"/proc/self/task/{os.getpid()}/children").read_text().split()
    return {**result, "codes": codes, "left": left, "orphans": len(orphans)}


def _adopt_orphans():
    """Become the parent of processes whose own parent ends."""
    if ctypes.CDLL(None).prctl(_PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0):
        raise OSError("prctl failed")


def _batch(copies, size, place):
    """Damaged copies for one command: their originals, paths and words."""
    return [
        (original, path.rename(place / f"{number}.cdf"), words)
        for number, (original, _, words, path) in enumerate(itertools.islice(copies, size))
    ]


def _run(name, paths, options):
    """Give the exit code, or "hung", what was said, and the seconds."""
    start = time.perf_counter()
    try:
        finished = subprocess.run(
            [sys.executable, "-m", "tarvik", name, *paths, *options, "--time-limit", str(_LIMIT)],
            stdout=subprocess.DEVNULL,
            stderr=subprocess.PIPE,
            errors="replace",
            text=True,
            timeout=len(paths) * _LIMIT + _SLACK,
            check=False,
        )
    except subprocess.TimeoutExpired:
        return "hung", "", time.perf_counter() - start
    return finished.returncode, finished.stderr, time.perf_counter() - start
