"""Trials with damaged copies of files."""

import collections
import shutil
import time
import warnings
from pathlib import Path

import tarvik
from mutations import is_current, mutate
from reading import Reading
from tarvik import constants, ops
from worker import Worker


def damaged_copies(files, count, folder):
    """Damage `count` copies of the files in turn; give for each its file, seed, words and path."""
    contents = {file: file.read_bytes() for file in files}
    path = Path(folder, "damaged.cdf")
    for seed in range(count):
        file = files[seed % len(files)]
        damaged, words = mutate(contents[file], seed // len(files))
        path.write_bytes(damaged)
        yield file, seed // len(files), words, path


def in_process(files, count, folder):
    """Read damaged copies in a process that opens them itself."""
    endings = collections.Counter()
    bad = []
    memory = 0
    worker = Worker()
    for file, seed, words, path in damaged_copies(files, count, folder):
        outcome = worker.read(path)
        endings[outcome.ending] += 1
        memory = max(memory, outcome.memory)
        if not outcome.survived:
            bad.append(_describe(file, seed, words, outcome.ending, outcome.problems[0]))
    worker.close()
    return {"count": count, "endings": endings, "memory": memory << 10, "bad": bad}


def isolated(files, count, folder):
    """Read damaged copies through a gateway in a process of its own; this process is the caller.

    It survived when it can read a whole file afterwards.
    """
    died = []
    survived = 0
    with tarvik.Gateway(isolated=True, limit=10) as gateway:
        whole = Reading(gateway, files[0]).digest
        for file, seed, words, path in damaged_copies(files, count, folder):
            reading = Reading(gateway, path)
            if reading.died:
                died.append(_describe(file, seed, words, "ended", reading.died))
            survived += not reading.died or Reading(gateway, files[0]).digest == whole
    return {"count": count, "survived": survived, "died": died}


def with_checksum(files, count, folder):
    """Read damaged copies of files with a checksum; find those read as if they were whole."""
    summed = [
        _with_checksum(file, Path(folder, f"{file.stem}_md5.cdf"))
        for file in files
        if is_current(file.read_bytes())
    ]
    worker = Worker()
    whole = {file: worker.read(file) for file in summed}
    unnoticed = []
    for file, seed, words, path in damaged_copies(summed, count, folder):
        outcome = worker.read(path)
        same = outcome.digest == whole[file].digest
        if outcome.survived and outcome.problems == whole[file].problems and not same:
            unnoticed.append(_describe(file, seed, words, "unnoticed", ""))
    worker.close()
    return {"count": count, "unnoticed": unnoticed}


def opening(files, turns):
    """The seconds that opening a file takes; for each file the median of several turns."""
    return {file.name: sorted(_opening(file) for _ in range(turns))[turns // 2] for file in files}


def _opening(file):
    start = time.perf_counter()
    opened = ops.call("open", str(file))
    seconds = time.perf_counter() - start
    ops.call("close", opened)
    return seconds


def _with_checksum(file, copy):
    shutil.copy(file, copy)
    copy.chmod(0o644)
    with warnings.catch_warnings(), ops.open(copy) as opened:
        ops.setChecksum(opened, constants.MD5_CHECKSUM)
    return copy


def _describe(file, seed, words, ending, why):
    return {"file": file.name, "seed": seed, "damage": words, "ending": ending, "why": why}
