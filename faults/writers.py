"""Trials with writers that are killed, and with disks that are full."""

import collections
import contextlib
import hashlib
import os
import random
import resource
import shutil
import subprocess
import sys
import time
from pathlib import Path

import writing
from tarvik import CDFError, constants, ops

_CLOSES = 3  # before the writer that is killed
_RECORDS = 500  # for each close
_LONGEST = 1  # seconds that a writer lives
_DOING = {"begun": "appending", "appended": "closing", "closed": "opening"}  # after it said so
_PROGRAM = Path(writing.__file__)
# Runs a program with a file on a file system of that many bytes; takes the file there and back.
_SMALL_DISK = """
size=$1 disk=$2 file=$3
shift 3
mount -t tmpfs -o "size=$size" none "$disk" || exit
[ ! -e "$file" ] || cp "$file" "$disk" || exit
"$@"
[ ! -e "$disk/${file##*/}" ] || cp "$disk/${file##*/}" "$file"
"""


def killed(times, folder):
    """Kill writers that open, append and close; find out what is left of what they had closed."""
    return {"kinds": [_killed(kind, times, Path(folder)) for kind in writing.KINDS]}


def _killed(kind, times, folder):
    chance = random.Random(kind)
    result = {"kind": kind, "times": times, "readable": [], "unvalidated": []}
    result["why"], result["while"] = collections.Counter(), collections.Counter()
    before = file_of(kind, folder / "before.cdf")
    path = folder / "killed.cdf"
    for _ in range(times):
        shutil.copy(before, path)
        with _writer("sessions", kind, path, _CLOSES * _RECORDS, _RECORDS) as writer:
            writer.stdout.readline()
            time.sleep(chance.uniform(0, _LONGEST))
            writer.kill()
            words = ["begun", *writer.stdout.read().split()]
        result["while"][_DOING[words[-1]]] += 1
        earlier = (_CLOSES + words.count("closed")) * _RECORDS
        count, why = writing.readable(path, earlier)
        result["readable"].append(count / earlier)
        result["unvalidated"].append(_left_of(path, earlier))
        result["why"].update([why] if why else [])
    return result


def _left_of(path, earlier):
    """The share of the records that can be read without validation."""
    ops.setValidate(constants.VALIDATEFILEOFF)
    share = writing.readable(path, earlier)[0] / earlier
    ops.setValidate(constants.VALIDATEFILEON)
    return share


def file_of(kind, path):
    """Make a file whose records were written in several sessions."""
    path.unlink(missing_ok=True)
    file = writing.create(kind, path)
    for number in range(_CLOSES):
        writing.append(file, number * _RECORDS, _RECORDS)
        ops.close(file)
        file = ops.open(path)
    ops.close(file)
    return path


def _writer(mode, kind, path, first, count, *limit, under=()):
    arguments = (mode, kind, path, first, count, *limit)
    return subprocess.Popen(
        [*map(str, under), sys.executable, _PROGRAM, *map(str, arguments)],
        stdout=subprocess.PIPE,
        stderr=subprocess.DEVNULL,
        text=True,
    )


def _with_limit(path, size, mode, kind, *records):
    """A writer of files that may not grow beyond a size."""
    return _writer(mode, kind, path, *records, size)


def _on_small_disk(path, size, mode, kind, *records):
    """A writer on a file system of that size; it needs namespaces of the user's own."""
    disk = path.parent / "disk"
    disk.mkdir(exist_ok=True)
    # A file system has room for whole pages, and one of size 0 has no bounds.
    size = -(-max(size, 1) // resource.getpagesize()) * resource.getpagesize()
    under = ("unshare", "--user", "--map-root-user", "--mount", "sh", "-c", _SMALL_DISK, "sh")
    return _writer(mode, kind, disk / path.name, *records, under=(*under, size, disk, path))


_DISKS = {"limit": _with_limit, "file system": _on_small_disk}


def full_disk(steps, folder):
    """Let disks be full, in steps from what the files have to what they would need."""
    return [
        _full_disk(disk, mode, kind, steps, Path(folder))
        for disk in _DISKS
        if disk == "limit" or _can_mount(Path(folder))
        for mode in ("create", "append")
        for kind in writing.KINDS
    ]


def _can_mount(folder):
    with _on_small_disk(folder / "tried.cdf", 1 << 20, "create", "plain", 0, 1) as writer:
        return "closed" in writer.stdout.read()


def _full_disk(disk, mode, kind, steps, folder):
    path = folder / "full.cdf"
    before = file_of(kind, folder / "before.cdf")
    earlier = _CLOSES * _RECORDS if mode == "append" else 0
    whole = earlier + _CLOSES * _RECORDS
    room = _size_of_whole(mode, kind, path, before, earlier)
    least = before.stat().st_size if mode == "append" else 0
    result = {"disk": disk, "mode": mode, "kind": kind, "steps": steps}
    result |= {"reported": {}, "silent": 0, "kept": []}
    for step in range(steps):
        _prepare(mode, path, before)
        size = least + (room - least) * step // steps
        with _DISKS[disk](path, size, mode, kind, earlier, whole - earlier) as writer:
            word = writer.stdout.read().split("\n")[-2]
        if word == "closed":
            result["silent"] += writing.readable(path, whole)[0] < whole
        else:
            result["reported"][word] = result["reported"].get(word, 0) + 1
            if earlier:
                result["kept"].append(_left_of(path, earlier))
    return result


def _size_of_whole(mode, kind, path, before, earlier):
    _prepare(mode, path, before)
    with _writer(mode, kind, path, earlier, _CLOSES * _RECORDS) as writer:
        writer.stdout.read()
    return path.stat().st_size


def _prepare(mode, path, before):
    path.unlink(missing_ok=True)
    if mode == "append":
        shutil.copy(before, path)


def copies(steps, folder):
    """Copy a file over another one with too little disk, and with a kill in the midst."""
    folder = Path(folder)
    source = file_of("plain", folder / "source.cdf")
    target = folder / "target.cdf"
    old = file_of("compressed variable", folder / "old.cdf").read_bytes()
    digest = _digest(source)
    chance = random.Random(0)
    complete = {"old": 0, "new": 0, "damaged": 0, "leftovers": 0, "steps": 2 * steps}
    for step in range(2 * steps):
        target.write_bytes(old)
        limit = source.stat().st_size * (step + 1) // steps if step < steps else None
        process = subprocess.Popen(
            [sys.executable, "-m", "tarvik", "copy", "--force", source, target],
            preexec_fn=lambda limit=limit: writing.limit_files(limit),
            stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
        )
        if step >= steps:
            time.sleep(chance.uniform(0.2, 1.2))
            process.kill()
        process.wait()
        whole = writing.readable(target, _CLOSES * _RECORDS)[0] == _CLOSES * _RECORDS
        state = "old" if target.read_bytes() == old else "new" if whole else "damaged"
        complete[state] += 1
        complete["damaged"] += _digest(source) != digest
    complete["leftovers"] = len(list(folder.glob("*target*"))) - 1
    return complete


def _digest(path):
    return hashlib.sha256(path.read_bytes()).hexdigest()


def opens(times, folder):
    """Open and close files, half of them in vain; find out what that leaves behind."""
    good = file_of("plain", Path(folder, "good.cdf"))
    bad = Path(folder, "bad.cdf")
    bad.write_bytes(good.read_bytes()[:400])
    memory = []
    for number in range(times):
        with contextlib.suppress(CDFError):
            ops.close(ops.open(bad if number % 2 else good))
        if number in (times // 10, times - 1):
            memory.append(_resident())
    return {"times": times, "memory": memory, "descriptors": len(os.listdir("/proc/self/fd"))}


def _resident():
    return int(Path("/proc/self/statm").read_text().split()[1]) * resource.getpagesize()


def two_handles(folder):
    """Write through two handles of one file; find out whose records are there afterwards."""
    path = file_of("plain", Path(folder, "twice.cdf"))
    earlier = _CLOSES * _RECORDS
    first, second = ops.open(path), ops.open(path)
    writing.append(first, earlier, 100)
    writing.append(second, earlier + 100, 100)
    ops.close(first)
    ops.close(second)
    count, why = writing.readable(path, earlier + 200)
    return {
        "earlier": writing.readable(path, earlier)[0] / earlier,
        "new": count - earlier,
        "why": why,
    }
