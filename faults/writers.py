"""Trials with writers that are killed, and with disks that are full."""

import collections
import contextlib
import hashlib
import itertools
import os
import random
import resource
import shutil
import subprocess
import sys
import time
from pathlib import Path

import writing
from tarvik import CDFError, File

_CLOSES = 3  # before the writer that is killed
_RECORDS = 500  # for each close
_EARLIER = _CLOSES * _RECORDS
_ENDLESS = 1_000_000  # closes
_WAYS = tuple(itertools.product(writing.HOWS, writing.KINDS))
_LAST_BYTES = 64
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
    return {"kinds": [_killed(how, kind, times, Path(folder)) for how, kind in _WAYS]}


def _killed(how, kind, times, folder):
    chance = random.Random(kind)
    result = {"how": how, "kind": kind, "times": times, "kept": [], "unvalidated": []}
    result["why"], result["while"] = collections.Counter(), collections.Counter()
    before = file_of(kind, folder / "before.cdf")
    path = folder / "killed.cdf"
    for _ in range(times):
        shutil.copy(before, path)
        with _writer(path, kind, how, _EARLIER, _RECORDS, _ENDLESS) as writer:
            writer.stdout.readline()
            time.sleep(chance.uniform(0, _LONGEST))
            writer.kill()
            words = ["begun", *writer.stdout.read().splitlines()]
        result["while"][_DOING[words[-1]]] += 1
        earlier = _EARLIER + words.count("closed") * _RECORDS
        share, why = writing.readable(path, earlier)
        result["kept"].append(share)
        result["unvalidated"].append(writing.readable(path, earlier, validate=False)[0])
        result["why"].update([why] if why else [])
    return result


def file_of(kind, path):
    """Make a file whose records were written in several sessions."""
    path.unlink(missing_ok=True)
    for first in range(0, _EARLIER, _RECORDS):
        writing.write(path, kind, "in place", first, _RECORDS)
    return path


def _writer(path, *arguments, under=()):
    return subprocess.Popen(
        [*map(str, under), sys.executable, _PROGRAM, str(path), *map(str, arguments)],
        stdout=subprocess.PIPE,
        stderr=subprocess.DEVNULL,
        text=True,
    )


def _on_small_disk(path, size, *arguments):
    """A writer on a file system of that size; it needs namespaces of the user's own."""
    disk = path.parent / "disk"
    disk.mkdir(exist_ok=True)
    # A file system has room for whole pages, and one of size 0 has no bounds.
    size = -(-max(size, 1) // resource.getpagesize()) * resource.getpagesize()
    under = ("unshare", "--user", "--map-root-user", "--mount", "sh", "-c", _SMALL_DISK, "sh")
    return _writer(disk / path.name, *arguments, under=(*under, size, disk, path))


_DISKS = {
    "limit": lambda path, size, *arguments: _writer(path, *arguments, size),
    "file system": _on_small_disk,
}


def full_disk(steps, folder):
    """Let disks be full, in steps from what the files have to what they would need.

    A limit of a file's size is also tried at each of the last bytes.
    """
    return [
        _full_disk(disk, mode, how, kind, steps, Path(folder))
        for disk in _DISKS
        if disk == "limit" or _can_mount(Path(folder))
        for mode in ("create", "append")
        for how, kind in _WAYS
    ]


def _can_mount(folder):
    with _on_small_disk(folder / "tried.cdf", 1 << 20, "plain", "in place", 0, 1, 1) as writer:
        return "closed" in writer.stdout.read()


def _full_disk(disk, mode, how, kind, steps, folder):
    path = folder / "full.cdf"
    before = file_of(kind, folder / "before.cdf")
    earlier = _EARLIER if mode == "append" else 0
    task = (kind, how, earlier, _EARLIER, 1)
    least = before.stat().st_size if earlier else 0
    room = _size_of_whole(path, before, task) - least
    if how == "transaction" and disk == "file system":
        room += least  # the old file stays beside the new one
    sizes = [least + room * step // steps for step in range(steps)]
    if disk == "limit":
        sizes += [least + room - missing for missing in range(min(_LAST_BYTES, steps), 0, -1)]
    result = {"disk": disk, "mode": mode, "how": how, "kind": kind, "steps": len(sizes)}
    result |= {"reported": collections.Counter(), "silent": 0, "kept": []}
    for size in sizes:
        _prepare(path, before, earlier)
        with _DISKS[disk](path, size, *task) as writer:
            word = writer.stdout.read().splitlines()[-1]
        if word == "closed":
            result["silent"] += writing.readable(path, earlier + _EARLIER)[0] < 1
            continue
        result["reported"][word] += 1
        if earlier:
            share, _ = writing.readable(path, earlier, validate=how == "transaction")
            result["kept"].append(share)
    return result


def _size_of_whole(path, before, task):
    _prepare(path, before, task[2])
    with _writer(path, *task) as writer:
        writer.stdout.read()
    return path.stat().st_size


def _prepare(path, before, earlier):
    path.unlink(missing_ok=True)
    if earlier:
        shutil.copy(before, path)


def copies(steps, folder):
    """Copy a file over another one with too little disk, and with a kill in the midst."""
    folder = Path(folder)
    source = file_of("plain", folder / "source.cdf")
    target = folder / "target.cdf"
    old = file_of("compressed variable", folder / "old.cdf").read_bytes()
    digest = _digest(source)
    chance = random.Random(0)
    complete = {"old": 0, "new": 0, "damaged": 0, "steps": 2 * steps}
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
        whole = writing.readable(target, _EARLIER)[0] == 1
        state = "old" if target.read_bytes() == old else "new" if whole else "damaged"
        complete[state] += 1
        complete["damaged"] += _digest(source) != digest
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
            File(bad if number % 2 else good).close()
        if number in (times // 10, times - 1):
            memory.append(_resident())
    return {"times": times, "memory": memory, "descriptors": len(os.listdir("/proc/self/fd"))}


def _resident():
    return int(Path("/proc/self/statm").read_text().split()[1]) * resource.getpagesize()


def two_writers(folder):
    """Open a file for writing while it is open for that, here and elsewhere; count what is lost."""
    result = {"times": 0, "refused": 0, "lost": 0}
    for first, second in itertools.product(writing.HOWS, repeat=2):
        path = file_of("plain", Path(folder, "twice.cdf"))
        task = (path, "plain", second, _EARLIER, _RECORDS)
        with File(path, "r+", atomic=writing.HOWS[first]) as file:
            writing.append(file, _EARLIER, _RECORDS)
            with _writer(*task, 1) as elsewhere:
                refusals = [elsewhere.stdout.read()]
            try:
                writing.write(*task)
            except BlockingIOError as error:
                refusals.append(repr(error))
        result["times"] += 2
        result["refused"] += sum("BlockingIOError" in words for words in refusals)
        result["lost"] += writing.readable(path, _EARLIER + _RECORDS)[0] < 1
    return result
