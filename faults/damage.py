"""Trials with damaged copies of files."""

import collections
import shutil
import time
from pathlib import Path

import originals
import structures
import tarvik
from mutations import is_current, mutate
from reading import read
from records import Image, unpacked
from tarvik import File, constants, ops
from worker import TASKS, Worker


def damaged_copies(files, count, folder, mutate=mutate):
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
    with Worker() as worker:
        return _read_all(lambda path: worker.do("read", path), files, count, folder)


def isolated(files, count, folder):
    """Read damaged copies through a gateway in a process of its own; this process is the caller.

    It survived when it can read a whole file afterwards.
    """
    lost = 0
    with tarvik.Gateway(isolated=True, limit=10) as gateway:
        whole = read(files[0], gateway)

        def read_isolated(path):
            nonlocal lost
            outcome = read(path, gateway)
            lost += not outcome.survived and read(files[0], gateway) != whole
            return outcome

        result = _read_all(read_isolated, files, count, folder)
    return {**result, "survived": count - lost}


def _read_all(read_copy, files, count, folder):
    endings = collections.Counter()
    bad = []
    memory = 0
    for file, seed, words, path in damaged_copies(files, count, folder):
        outcome = read_copy(path)
        endings[outcome.ending] += 1
        memory = max(memory, outcome.memory)
        if not outcome.survived:
            bad.append(_describe(file, seed, words, outcome.ending, outcome.problems[0]))
    return {"count": count, "endings": endings, "memory": memory << 10, "bad": bad}


def in_structures(files, count, folder, keep=None):
    """Read damaged copies, and edit copies of these; the damage is to how records are linked.

    Copies that went wrong are kept in the folder `keep`.
    """
    files = [*files, *originals.make(Path(folder))]
    for content in map(Path.read_bytes, files):
        Image(content).check()
        Image(unpacked(content) or content).check()
    endings = {task: collections.Counter() for task in TASKS}
    bad, memory = [], 0
    with Worker() as worker:
        for file, seed, words, path in damaged_copies(files, count, folder, structures.damaged):
            for task in TASKS:
                outcome = worker.do(task, path, seed)
                endings[task][outcome.ending] += 1
                memory = max(memory, outcome.memory)
                if not outcome.survived:
                    row = _describe(file, seed, words, outcome.ending, outcome.problems[0])
                    bad.append({**row, "task": task, "alone": _is_alone(task, path, seed, outcome)})
                    _keep(path, bad[-1], keep)
    result = {"count": count, "files": len(files), "endings": endings, "bad": bad}
    return {**result, "memory": memory << 10}


def _is_alone(task, path, seed, outcome):
    """Whether the file has this ending in a new process too, without those before it."""
    with Worker() as worker:
        return worker.do(task, path, seed).ending == outcome.ending


def _keep(path, row, folder):
    if folder is not None:
        name = f"{row['ending']}_{row['task']}_{Path(row['file']).stem[:12]}_{row['seed']}.cdf"
        shutil.copyfile(path, folder / name)
        with open(folder / "README", "a") as readme:
            readme.write(f"{name}: {row['damage']} | {row['why']}{' | alone' * row['alone']}\n")


def with_checksum(files, count, folder):
    """Read damaged copies of files with a checksum; find those read as if they were whole."""
    summed = [
        _with_checksum(file, Path(folder, f"{file.stem}_md5.cdf"))
        for file in files
        if is_current(file.read_bytes())
    ]
    unnoticed = []
    with Worker() as worker:
        whole = {file: worker.do("read", file) for file in summed}
        for file, seed, words, path in damaged_copies(summed, count, folder):
            outcome = worker.do("read", path)
            same = outcome.digest == whole[file].digest
            if outcome.survived and outcome.problems == whole[file].problems and not same:
                unnoticed.append(_describe(file, seed, words, "unnoticed", ""))
    return {"count": count, "unnoticed": unnoticed}


def opening(files, turns):
    """The seconds that opening a file takes; for each file the median of several turns."""
    return {file.name: sorted(_opening(file) for _ in range(turns))[turns // 2] for file in files}


def _opening(file):
    start = time.perf_counter()
    with File(file):
        return time.perf_counter() - start


def _with_checksum(file, copy):
    copy.write_bytes(file.read_bytes())
    with File(copy, "r+", atomic=False) as opened:
        ops.setChecksum(opened.id, constants.MD5_CHECKSUM)
    return copy


def _describe(file, seed, words, ending, why):
    return {"file": file.name, "seed": seed, "damage": words, "ending": ending, "why": why}
