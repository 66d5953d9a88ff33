"""Writes records to files for other processes, which may kill this one or take its disk away.

Usage: writing.py FILE KIND HOW FIRST COUNT CLOSES [BYTES]. Appends COUNT records, from number FIRST
on, as often as CLOSES says. Each time it says "begun" when the file is open, "appended" and
"closed", or why not. No file may grow beyond BYTES.
"""

import resource
import signal
import sys

import numpy as np
from tarvik import CDFError, File

BLOCK = 10  # records a call
SIZE = 50  # values of a record
# What each kind of file is made with, and its variable.
KINDS = {
    "plain": ({}, {}),
    "compressed variable": ({}, {"compression": "gzip:6"}),
    "checksum": ({"checksum": "md5"}, {}),
    "compressed as a whole": ({"compression": "gzip:6"}, {}),
}
HOWS = {"transaction": True, "in place": False}  # with the option `atomic`


def values_of(start, stop):
    """What the records hold."""
    return np.add.outer(np.arange(start, stop, dtype=float), np.arange(SIZE) / 100)


def write(path, kind, how, first, count, say=lambda _: None):
    """Open a file, or make one, append records in several calls, and close it."""
    of_file, of_variable = KINDS[kind]
    with File(path, "a", atomic=HOWS[how], **of_file) as file:
        say("begun")
        if "data" not in file:
            file.create_variable("data", datatype="CDF_REAL8", shape=(0, SIZE), **of_variable)
        append(file, first, count)
        say("appended")
    say("closed")


def append(file, first, count):
    for start in range(first, first + count, BLOCK):
        stop = min(start + BLOCK, first + count)
        file["data"][start:stop] = values_of(start, stop)


def readable(path, count, validate=True):
    """The share of the first records that can be read and are right, and why not all."""
    try:
        with File(path, validate=validate) as file:
            values = file["data"][:count]
    except (CDFError, KeyError) as error:
        return 0, getattr(error, "status_name", None) or repr(error)
    right = np.count_nonzero((values == values_of(0, len(values))).all(axis=1))
    return right / count, "" if right == count else "records are missing or wrong"


def limit_files(size):
    """Let no file of this process grow beyond so many bytes; None is no limit."""
    if size is not None:
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
        resource.setrlimit(resource.RLIMIT_FSIZE, (int(size), int(size)))


def main(path, kind, how, first, count, closes, limit=None):
    limit_files(limit)
    first, count = int(first), int(count)
    try:
        for start in range(first, first + count * int(closes), count):
            write(path, kind, how, start, count, lambda word: print(word, flush=True))
    except (CDFError, OSError) as error:
        print(repr(error), flush=True)


if __name__ == "__main__":
    main(*sys.argv[1:])
